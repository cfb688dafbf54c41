#ifndef CASEFILE_CASETABLE_H
#define CASEFILE_CASETABLE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "casefile/range.h"
#include "compressedForm.h"
#include "place.h"
#include "sourceReader.h"

namespace casefile {

/// The blocks of a file that can be read, one behind the other without a gap.
class CaseTable {
 public:
  /// Reads heading and table at a place.
  /// Raises: Error: `notADataFile` when there is no heading, `damaged` when a rule is broken that hinders reading.
  CaseTable(SourceReader& source, const Place& place);

  int64 row0() const noexcept { return place_.row0; }
  bool swapped() const noexcept { return place_.swapped; }
  /// Logical end of the case data, and size of the uncompressed file.
  int64 logicalEnd() const noexcept;
  std::size_t size() const noexcept { return records_.size(); }
  const bInfo& operator[](std::size_t block) const noexcept { return records_[block]; }
  LogicalRange range(std::size_t block) const noexcept;

  const std::vector<bInfo>& records() const noexcept { return records_; }
  /// File position behind the last block.
  int64 blocksEnd() const noexcept { return blocksEnd_; }
  int64 tablePos() const noexcept { return tablePos_; }
  /// File position behind the table.
  int64 tableEnd() const noexcept { return tableEnd_; }
  /// Returns: the last block, if there is one.
  std::optional<bInfo> last() const { return records_.empty() ? std::nullopt : std::optional(records_.back()); }

  /// Returns: the block that holds a logical position. Requires: one does.
  /// Cost: a division where all blocks but the last are whole, else a binary search.
  std::size_t blockAt(int64 logical) const noexcept;

 private:
  void requireChain(const std::string& file) const;

  Place place_;
  std::vector<bInfo> records_;
  int64 blocksEnd_ = 0;
  int64 tablePos_ = 0;
  int64 tableEnd_ = 0;
};

/// Returns: "block 3 (logical bytes 100 to 199)"; first and last byte are named.
std::string blockName(std::size_t block, const LogicalRange& range);

}  // namespace casefile

#endif
