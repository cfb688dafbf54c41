#ifndef CASEFILE_HIDDENDATA_H
#define CASEFILE_HIDDENDATA_H

#include <optional>
#include <string>

#include "layout.h"
#include "locate.h"
#include "namedReader.h"

namespace casefile::program {

/// Looks behind a file's table for what no append to it leaves there: heading, table or whole blocks of case
/// data at another row-0 position. A compressed file in the dictionary part of one whose own heading is lost
/// looks like that. A heading or table that is damaged says less about where the file ends: then the search
/// begins at `blocksEnd`, where its sound blocks end, and whole blocks mean nothing.
///
/// Returns: what was found, in words that follow "row-0 position N ...", or nothing.
/// Raises: Failure (kRefused) when too much looks like blocks; Interrupted.
/// Cost: one pass over the dead bytes.
std::optional<std::string> hiddenData(NamedReader& source, const Layout& layout, int64 blocksEnd);

/// Raises: Failure when a file whose heading and table are sound has hidden data behind its table.
void refuseHiddenData(NamedReader& source, const Layout& layout);

/// Returns: the layout of a file whose case data are to be read. Raises: Failure when a fault hinders that, or
///   when nobody said which row-0 position is meant and there is hidden data.
Layout layoutForReading(NamedReader& source, const PlaceHint& hint);

}  // namespace casefile::program

#endif
