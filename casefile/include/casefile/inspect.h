#ifndef CASEFILE_INSPECT_H
#define CASEFILE_INSPECT_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "casefile/export.h"
#include "casefile/fault.h"
#include "casefile/progress.h"
#include "casefile/randomAccessFile.h"
#include "casefile/reader.h"
#include "casefile/unfinishedAppend.h"

namespace casefile {

/// How a file is looked at.
struct InspectOptions {
  /// Where the dictionary part ends and the case data begin; none: it is looked for.
  std::optional<std::int64_t> row0;
  ByteOrder byteOrder = ByteOrder::find;  ///< in which order the file's numbers lie
  /// Is told how far the search for the case data is.
  ProgressCallback progress;
};

/// What heading and position table of a file say, be they damaged or not.
struct Inspection {
  std::int64_t fileSize = 0;                    ///< length of the file in bytes
  std::int64_t row0 = 0;                        ///< where the heading lies, which is also the dictionary part's length
  bool swapped = false;                         ///< the file's numbers lie in the other byte order than this machine's
  std::endian byteOrder = std::endian::native;  ///< in which the file's numbers lie
  std::int64_t headingRow0 = 0;                 ///< the row-0 position that the heading names
  std::int64_t tablePosition = 0;               ///< as the heading gives it
  std::int64_t tableSize = 0;                   ///< as the heading gives it
  std::int64_t logicalSize = 0;                 ///< logical end of the case data
  std::int64_t blocksEnd = 0;                   ///< file position behind the last block
  std::int64_t deadBytes = 0;                   ///< behind the table
  std::vector<Block> blocks;                    ///< as recorded: in a damaged table the numbers may be anything
  std::size_t unreadBlocks = 0;                 ///< records of a table so damaged that it was not read to its end
  std::vector<Fault> faults;          ///< in the order in which rules are looked at; a thousand and one at most
  UnfinishedAppend unfinishedAppend;  ///< of a file that was opened by its name

  /// Returns: the file position of the first block, behind the heading.
  std::int64_t blocksStart() const noexcept {
    constexpr std::int64_t kHeading = 24;  // bytes
    return row0 + kHeading;
  }
  /// Returns: whether a Reader would read it, as far as heading and table tell.
  bool readable() const noexcept {
    for (const Fault& fault : faults) {
      if (fault.hindersReading) {
        return false;
      }
    }
    return true;
  }
  /// Returns: whether a fault is more than worth a word.
  bool damaged() const noexcept {
    for (const Fault& fault : faults) {
      if (fault.isDamage) {
        return true;
      }
    }
    return false;
  }
};

/// Reads heading and position table of a compressed data file, and lists the rules that they break. Blocks are not
/// looked into: verify() does that. Of a file to which an append has not finished this is told as it was before, which
/// is what the next append makes of it, and so of a copy that verify() judges so; where its journal does not allow
/// that, as it lies there.
///
/// Requires: on Windows the name is UTF-8; elsewhere its bytes are taken as they are.
/// Raises: Error: `system` when the file cannot be opened or read; `notADataFile` when it has no heading at the row-0
///   position, or none or several are found; `usage` for options that cannot be; `cancelled` when the callback says
///   stop.
/// Cost: as Reader::open; 64 bytes of memory for each block, for a while 96.
CASEFILE_API Inspection inspect(const std::string& name, const InspectOptions& options = {});
/// For a file that is open; nothing is told about an unfinished append.
CASEFILE_API Inspection inspect(std::shared_ptr<const RandomAccessFile> file, const InspectOptions& options = {});

/// Returns: by the first bytes of a file, what other program's it is ("a gzip file"; zstd, xz, zip and bzip2 are
///   known, too); null, when none of these. Ten bytes are enough.
CASEFILE_API const char* foreignFormat(std::span<const std::byte> beginning) noexcept;

}  // namespace casefile

#endif
