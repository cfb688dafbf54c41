#ifndef CASEFILE_BLOCKCHECK_H
#define CASEFILE_BLOCKCHECK_H

#include <memory>
#include <string>
#include <vector>

#include "Datasource/platform/types.h"
#include "byteSource.h"

namespace casefile {

/// What one zlib stream in a file turned out to be.
struct StreamFacts {
  std::string fault;         ///< empty when the stream is sound to its end, check value included
  int64 compressedSize = 0;  ///< its bytes in the file
  int64 plainSize = 0;       ///< the bytes that came out of it
  bool sound() const noexcept { return fault.empty(); }
};

/// Inflates zlib streams to their end, keeping nothing of what comes out.
///
/// Threads: one at a time. Cost: about 200 kB, allocated once.
class BlockChecker {
 public:
  BlockChecker();
  ~BlockChecker();

  /// Inflates the stream at file position `position`, which has at most `room` bytes. More plain bytes
  /// than a block holds are a fault.
  StreamFacts check(ByteSource& source, int64 position, int64 room);

 private:
  struct Inflater;
  std::unique_ptr<Inflater> inflater_;
  std::vector<unsigned char> compressed_;
  std::vector<unsigned char> plain_;
};

}  // namespace casefile

#endif
