#ifndef CASEFILE_FIND_HIDDENDATA_H
#define CASEFILE_FIND_HIDDENDATA_H

#include "caseTable.h"
#include "progressReport.h"
#include "sourceReader.h"

namespace casefile {

/// Looks behind a file's table for what no append to it leaves there: heading, table or whole blocks of case
/// data at another row-0 position. A compressed file in the dictionary part of one whose own heading is lost
/// looks like that.
///
/// Requires: source and table outlive the call; the table is one that was read, so that no rule about where it ends
///   is broken.
/// Raises: Error: `notADataFile` when there are such, with their position; `cancelled`; what the source raises.
/// Cost: one pass over the bytes behind the table, which most files do not have.
void refuseHiddenData(SourceReader& source, const CaseTable& table, ProgressReport& report);

}  // namespace casefile

#endif
