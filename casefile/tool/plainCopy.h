#ifndef CASEFILE_PLAINCOPY_H
#define CASEFILE_PLAINCOPY_H

#include "casefile/reader.h"
#include "plainOutput.h"

namespace casefile::program {

/// Writes a range of the uncompressed file and shows how far it is: a file gets each block at its place, what has no
/// places gets them in order, up to the first that is damaged.
///
/// Requires: the range ends at the logical end or before.
/// Raises: Failure; Error; Interrupted.
void copyPlain(const Reader& reader, LogicalRange range, PlainOutput& output);

}  // namespace casefile::program

#endif
