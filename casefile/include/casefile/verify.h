#ifndef CASEFILE_VERIFY_H
#define CASEFILE_VERIFY_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "casefile/export.h"
#include "casefile/fault.h"
#include "casefile/progress.h"
#include "casefile/randomAccessFile.h"
#include "casefile/range.h"
#include "casefile/reader.h"
#include "casefile/unfinishedAppend.h"

namespace casefile {

/// How a file is verified.
struct VerifyOptions {
  /// Where the dictionary part ends and the case data begin; none: it is looked for.
  std::optional<std::int64_t> row0;
  ByteOrder byteOrder = ByteOrder::find;  ///< in which order the file's numbers lie
  /// How many threads inflate, the caller's among them; 0: as many as the process may keep busy.
  std::size_t threads = 0;
  /// Is told the bytes of the file whose blocks were looked into.
  ProgressCallback progress;
};

/// What a file is worth.
struct Verification {
  std::int64_t row0 = 0;              ///< where the case data begin
  bool swapped = false;               ///< the file's numbers lie in the other byte order than this machine's
  std::size_t blocks = 0;             ///< that the table names
  std::int64_t caseBytes = 0;         ///< case data, uncompressed
  std::int64_t deadBytes = 0;         ///< behind the table
  std::vector<Fault> faults;          ///< those of the file first, then those of blocks in their order
  std::size_t damagedBlocks = 0;      ///< all of them; `faults` speaks of the first thousand
  std::vector<LogicalRange> lost;     ///< the bytes of damaged blocks, neighbours joined; the first thousand ranges
  std::size_t unlistedLost = 0;       ///< how many ranges more there are
  UnfinishedAppend unfinishedAppend;  ///< of a file that was opened by its name
  bool asBeforeAppend = false;        ///< all this is told of the file as it was before the unfinished append

  /// Returns: whether everything that the file holds can be read, and nothing else is hidden in it.
  bool sound() const noexcept {
    for (const Fault& fault : faults) {
      if (fault.isDamage) {
        return false;
      }
    }
    return damagedBlocks == 0;
  }
};

/// Checks heading, position table and every block of a compressed data file, and goes on behind damage. A file to which
/// an append has not finished is judged as it was before, which is what the next append makes of it. So is a copy of
/// one beside a copy of its journal that cannot be read as it lies.
///
/// Requires: on Windows the name is UTF-8; elsewhere its bytes are taken as they are.
/// Raises: Error: `system` when the file cannot be opened or read; `notADataFile` when it has no heading at the row-0
///   position, or none or several are found; `usage` for options that cannot be; `cancelled` when the callback says
///   stop. The first error in the order of the file is raised.
/// Threads: the callback is called by one thread at a time, not always the same one.
/// Cost: each block is inflated once, a damaged one twice; 8 MiB of memory for each thread, 32 bytes for each block.
CASEFILE_API Verification verify(const std::string& name, const VerifyOptions& options = {});
/// For a file that is open; nothing is told about an unfinished append.
CASEFILE_API Verification verify(std::shared_ptr<const RandomAccessFile> file, const VerifyOptions& options = {});

}  // namespace casefile

#endif
