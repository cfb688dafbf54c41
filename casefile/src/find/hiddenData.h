#ifndef CASEFILE_FIND_HIDDENDATA_H
#define CASEFILE_FIND_HIDDENDATA_H

#include <optional>
#include <string>

#include "caseTable.h"
#include "check/layout.h"
#include "progressReport.h"
#include "sourceReader.h"

namespace casefile {

/// Other case data behind those of a file.
struct HiddenData {
  std::string words;   ///< follow "row-0 position N ..."
  int64 position = 0;  ///< in the file
};

/// Looks behind the table of a file that may be damaged for what refuseHiddenData looks for. A heading or table that
/// is damaged says less about where the file ends: then the search begins at `blocksEnd`, where its sound blocks end,
/// and whole blocks mean nothing.
///
/// Raises: Error: `notADataFile` when too much looks like blocks; `cancelled`; what the source raises.
std::optional<HiddenData> hiddenData(SourceReader& source, const Layout& layout, int64 blocksEnd,
                                     ProgressReport& report);

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
