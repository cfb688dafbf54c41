#ifndef CASEFILE_CHECK_FINDBLOCKS_H
#define CASEFILE_CHECK_FINDBLOCKS_H

#include "find/place.h"
#include "progressReport.h"
#include "sourceReader.h"

namespace casefile {

/// Finds the place of the case data in a file whose heading may be lost: by a heading that fits, by 24
/// zero bytes in front of a sound block, or by a position table that names a place with a sound block.
/// Raises: Error: `notADataFile` when there is none or more than one; `cancelled`; what the source raises.
Place findBlocks(SourceReader& source, ProgressReport& report);

/// Returns: the place at a position that the program told, where the heading may say anything.
/// Raises: Error: `usage` for a negative position; `notADataFile` when the file ends before; what the source raises.
Place placeTold(SourceReader& source, int64 row0);

}  // namespace casefile

#endif
