#ifndef CASEFILE_FIND_PLACENAMEDBYTABLE_H
#define CASEFILE_FIND_PLACENAMEDBYTABLE_H

#include <optional>

#include "place.h"
#include "randomAccessReader.h"

namespace casefile {

/// Returns: the place that the position table at a file position is about, by its first record; the blocks are
///   not looked into. Nothing when it is no table or is cut.
std::optional<Place> placeNamedByTable(datasource::form::RandomAccessReader& source, int64 position);

}  // namespace casefile

#endif
