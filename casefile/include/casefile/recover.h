#ifndef CASEFILE_RECOVER_H
#define CASEFILE_RECOVER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "casefile/export.h"
#include "casefile/progress.h"
#include "casefile/randomAccessFile.h"
#include "casefile/range.h"
#include "casefile/unfinishedAppend.h"

namespace casefile {

/// What becomes of sound blocks behind a damaged one.
enum class Holes {
  stop,  ///< they are left out: the new file ends where the first damage begins
  skip,  ///< they follow the blocks before: all that comes behind the damage has smaller logical positions
  zero   ///< they keep their logical positions: what is lost is zeros
};

/// How a file is rescued.
struct RecoverOptions {
  /// Where the dictionary part ends and the case data begin; none: it is looked for.
  std::optional<std::int64_t> row0;
  Holes holes = Holes::stop;  ///< what becomes of sound blocks behind a damaged one
  /// The output is plain data, not a compressed file: everything up to the first damage, and what can be inflated of
  /// the damaged block. The last bytes of that may be wrong: no check value tells. Requires: `holes` is `stop`.
  bool partial = false;
  /// How many threads inflate, the caller's among them; 0: as many as the process may keep busy. One follows the
  /// blocks where no table names them.
  std::size_t threads = 0;
  bool replace = true;  ///< false: a file that has the output's name by then is an error
  bool sync = false;    ///< the output is on the disk before it gets its name, and the name is when the call returns
  /// Is told the bytes of the file that were looked into (`reading`), then those that were written (`writing`).
  ProgressCallback progress;
};

/// Case data that are lost.
struct Loss {
  std::optional<std::size_t> blocks;  ///< how many; none: nobody can tell what there was
  LogicalRange range;                 ///< where they were in the damaged file; without a count only its start is known
  std::int64_t filePosition = 0;      ///< where the first of them lies
  std::string why;                    ///< what is wrong there, in words
};

/// What was rescued and what was not.
struct Recovery {
  std::int64_t row0 = 0;              ///< where the case data of the output begin
  bool swapped = false;               ///< the output's numbers lie in the other byte order than this machine's
  std::size_t blocks = 0;             ///< sound ones in the output
  std::int64_t caseBytes = 0;         ///< case data out of them
  std::int64_t zeroBytes = 0;         ///< zeros in place of lost ones, with Holes::zero
  std::int64_t partialBytes = 0;      ///< out of the damaged block, with `partial`
  std::vector<Loss> losses;           ///< in the order of the file; the first thousand
  std::size_t unlistedLosses = 0;     ///< how many more there are
  std::size_t moreBlocks = 0;         ///< sound blocks behind the first damage that Holes::stop left out
  std::int64_t moreBytes = 0;         ///< case data out of them
  UnfinishedAppend unfinishedAppend;  ///< of a file that was opened by its name; the output is as it was before

  /// Returns: whether everything that the file tells of is in the output.
  bool complete() const noexcept { return losses.empty(); }
};

/// Makes a new compressed data file of what is sound in a damaged one, which is not changed: heading and table may
/// be lost altogether. The output appears under its name when it is complete, with no wider access rights than the
/// input's, or not at all. What is found missing is no error but part of the answer.
///
/// Requires: on Windows the names are UTF-8; elsewhere their bytes are taken as they are.
/// Raises: Error: `system` when the input cannot be read or the output not be made; `notADataFile` when neither a
///   heading nor a sound block is found, or those of several row-0 positions; `damaged` when the journal of an
///   unfinished append does not fit the input; `usage` for options that cannot be, and for the input as output;
///   `cancelled` when the callback says stop. Nothing is left behind then but what Error::leftBehind() names.
/// Threads: the callback is called by one thread at a time, not always the same one.
/// Cost: two passes over the file, three where it is damaged; 8 MiB of memory for each thread.
CASEFILE_API Recovery recover(const std::string& input, const std::string& output, const RecoverOptions& options = {});
/// For a file that is open; nothing is told about an unfinished append, and the output gets the rights of any new file.
CASEFILE_API Recovery recover(std::shared_ptr<const RandomAccessFile> input, const std::string& output,
                              const RecoverOptions& options = {});

}  // namespace casefile

#endif
