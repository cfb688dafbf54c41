#ifndef CASEFILE_BLOCKCHECK_H
#define CASEFILE_BLOCKCHECK_H

#include <string>

#include "Datasource/platform/types.h"
#include "compressedForm.h"
#include "namedReader.h"
#include "streamInspector.h"

namespace casefile::program {

/// What one zlib stream in a file turned out to be, in words.
struct StreamFacts {
  std::string fault;         ///< empty when the stream is a whole block
  int64 compressedSize = 0;  ///< its bytes in the file
  int64 plainSize = 0;       ///< the bytes that came out of it
  bool sound() const noexcept { return fault.empty(); }
};

/// Looks into the blocks of a file, keeping nothing of what comes out.
///
/// Threads: one at a time. Cost: about 200 kB, allocated once.
class BlockChecker {
 public:
  /// Inflates the stream at file position `position`, which has at most `room` bytes. More plain bytes
  /// than a block holds are a fault.
  /// Raises: Interrupted.
  StreamFacts check(NamedReader& source, int64 position, int64 room);
  /// Returns: what is wrong with the block of a record; empty when it is as recorded.
  /// Raises: Interrupted.
  std::string faultOf(NamedReader& source, const bInfo& record);

 private:
  datasource::form::StreamInspector inspector_;
};

}  // namespace casefile::program

#endif
