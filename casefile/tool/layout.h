#ifndef CASEFILE_LAYOUT_H
#define CASEFILE_LAYOUT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "compressedForm.h"
#include "find/place.h"
#include "namedReader.h"

namespace casefile::program {

/// One rule that heading or table break, in words.
struct Fault {
  std::string what;
  std::optional<std::size_t> block;  ///< the block it makes doubtful, or none: then it is the file
  bool hindersReading = true;        ///< false: the data can be read all the same
  bool isDamage = true;              ///< false: it only deserves a word
};

/// Heading and position table of a compressed file, with every rule that they break.
struct Layout {
  Place place;
  int64 fileSize = 0;
  compressionHeading heading{};
  std::vector<bInfo> records;
  std::vector<int64> logicalStarts;  ///< where each block should start, told by its neighbours too
  std::size_t unreadRecords = 0;     ///< of a table with so many faults that it was not read to its end
  std::vector<Fault> faults;         ///< at most a thousand and one that tells how many more

  int64 dictionarySize() const noexcept { return place.row0; }
  /// Logical end of the case data, and size of the uncompressed file.
  int64 logicalEnd() const noexcept;
  /// File position behind the last block; the table's when the last record is nonsense.
  int64 blocksEnd() const noexcept;
  /// File position behind the table; the file's end when the table is not in the file.
  int64 tableEnd() const noexcept;
  int64 deadBytes() const noexcept { return fileSize - tableEnd(); }
  /// Uncompressed bytes of a block, told by its neighbours too.
  int64 believedSize(std::size_t block) const noexcept;
  /// Returns: whether a fault is more than worth a word.
  bool isDamaged() const noexcept;
  /// Returns: the index of the block that holds a logical position. Requires: one does.
  std::size_t blockAt(int64 logical) const noexcept;
};

/// Reads heading and table at `place` and checks them against each other and the file's size; blocks
/// are not looked into.
///
/// Cost: one pass over the table, and 32 bytes of memory for each of its blocks; a table that breaks its own
/// rules a thousand times is left there, whatever length it claims.
Layout readLayout(NamedReader& source, const Place& place);

/// Raises: Failure when a fault hinders reading.
void requireReadable(const Layout& layout, const std::string& file);

/// Says, as a detail, where a file's case data begin, in which byte order, and how many blocks it has.
void tellLayout(const Layout& layout, const std::string& file);

/// Returns: "block 3 (logical bytes 100 to 199)"; first and last byte are named.
std::string blockName(const Layout& layout, std::size_t block);
/// Returns: "logical bytes 100 to 199" for the `size` bytes from `start`.
std::string rangeName(int64 start, int64 size);

}  // namespace casefile::program

#endif
