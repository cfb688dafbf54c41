#ifndef CASEFILE_CHECK_LAYOUT_H
#define CASEFILE_CHECK_LAYOUT_H

#include <cstddef>
#include <vector>

#include "casefile/fault.h"
#include "casefile/range.h"
#include "compressedForm.h"
#include "find/place.h"
#include "progressReport.h"
#include "sourceReader.h"

namespace casefile {

/// Heading and position table of a compressed file that may be damaged, with every rule that they break.
struct Layout {
  Place place;
  int64 fileSize = 0;
  compressionHeading heading{};
  std::vector<bInfo> records;
  std::vector<int64> logicalStarts;  ///< where each block should start, told by its neighbours too
  std::size_t unreadRecords = 0;     ///< of a table with so many faults that it was not read to its end
  std::vector<Fault> faults;         ///< at most a thousand and one that tells how many more

  /// Logical end of the case data, and size of the uncompressed file.
  int64 logicalEnd() const noexcept;
  /// File position behind the last block; the table's when the last record is nonsense.
  int64 blocksEnd() const noexcept;
  /// File position behind the table; the file's end when the table is not in the file.
  int64 tableEnd() const noexcept;
  /// A block's bytes, told by its neighbours too.
  LogicalRange believedRange(std::size_t block) const noexcept;
  /// Returns: whether heading and table leave no doubt about where the file's own bytes end.
  bool tellsItsEnd() const noexcept;
};

/// Reads heading and table at `place` and checks them against each other and the file's size; blocks
/// are not looked into.
///
/// Raises: Error (`cancelled`); what the source raises.
/// Cost: one pass over the table, and 32 bytes of memory for each of its blocks; a table that breaks its own
///   rules a thousand times is left there, whatever length it claims.
Layout readLayout(SourceReader& source, const Place& place, ProgressReport& report);

}  // namespace casefile

#endif
