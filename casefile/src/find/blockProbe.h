#ifndef CASEFILE_FIND_BLOCKPROBE_H
#define CASEFILE_FIND_BLOCKPROBE_H

#include <block/blockSize.h>

#include <array>
#include <cstddef>

#include "progressReport.h"
#include "sourceReader.h"
#include "streamInspector.h"

namespace casefile {

/// Tells whether there are sound blocks at positions that something in a file hints at.
///
/// Threads: one at a time. Cost: bytes that cannot begin a block are not inflated, and a position that was
/// asked for lately is not inflated again. A file that makes it inflate many times its own size is given up.
class BlockProbe {
 public:
  /// Requires: source and report outlive the object.
  BlockProbe(SourceReader& source, ProgressReport& report);
  /// `first`: the uncompressed bytes that are allowed whatever the file.
  BlockProbe(SourceReader& source, ProgressReport& report, int64 first);

  /// A block for each of a thousand positions.
  static constexpr int64 kFirstAllowance = int64{1000} * static_cast<int64>(kBlockSize);
  /// Returns: what is allowed beyond that, a few times the file's data, of which holes are none.
  static int64 allowanceForData(int64 bytes) noexcept;

  /// Returns: the uncompressed bytes of the sound block at a file position, 0 when there is none.
  /// Raises: Error: `notADataFile` when the file holds too much that looks like blocks; `cancelled`; what the
  ///   source raises.
  int64 plainSizeAt(int64 position);
  /// Returns: whether a sound block lies behind a heading at `row0`. Raises: as plainSizeAt.
  bool hasBlockBehind(int64 row0);

 private:
  struct Answer {
    int64 position = -1;
    int64 plainSize = 0;
  };
  int64 inflateAt(int64 position);

  static constexpr std::size_t kAnswers = 4096;
  SourceReader& source_;
  ProgressReport& report_;
  datasource::form::StreamInspector inspector_;
  std::array<Answer, kAnswers> answers_{};  // of a position: at its remainder
  int64 allowance_;                         // uncompressed bytes that all probes of the file may still make
  bool dataAreCounted_ = false;             // and are a part of that
};

}  // namespace casefile

#endif
