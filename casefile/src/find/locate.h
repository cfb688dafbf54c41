#ifndef CASEFILE_FIND_LOCATE_H
#define CASEFILE_FIND_LOCATE_H

#include <optional>
#include <vector>

#include "casefile/reader.h"
#include "place.h"
#include "progressReport.h"
#include "sourceReader.h"

namespace casefile {

/// Returns: the places whose heading and table fit each other; when there is none, those whose heading fits
///   although its table is damaged; sixteen at most.
std::vector<Place> fittingPlaces(SourceReader& source, ByteOrder order, ProgressReport& report);

/// Raises: Error (`notADataFile`) unless there is exactly one place. Returns: that one.
Place theOnlyOf(const std::vector<Place>& places, const SourceReader& source);

/// Returns: whether a heading at a row-0 position agrees with itself, in either byte order.
bool hasHeadingAt(SourceReader& source, int64 row0);

/// Finds the place of the case data: at the position told, or the only one that fits.
///
/// Raises: Error: `notADataFile` when there is none, more than one, or none at the position told; `usage` for a
///   negative position; `cancelled`.
Place locate(SourceReader& source, std::optional<int64> row0, ByteOrder order, ProgressReport& report);

}  // namespace casefile

#endif
