#ifndef DATASOURCE_FORM_STREAMINSPECTOR_H
#define DATASOURCE_FORM_STREAMINSPECTOR_H

#include <memory>
#include <string>
#include <vector>

#include "Datasource/platform/types.h"
#include "blockCodec.h"
#include "blockReader.h"
#include "compressedForm.h"
#include "randomAccessReader.h"

namespace datasource::form {

/// What one zlib stream in a file turned out to be.
struct StreamFacts {
  Verdict verdict = Verdict::needsInput;  ///< outputFull: it holds more than a block
  bool lacksCheckValueOnly = false;       ///< it was cut at a block's size, inside its check value
  int64 compressedSize = 0;               ///< its bytes in the file
  int64 plainSize = 0;                    ///< the bytes that came out of it
  std::string damage;                     ///< the codec's words for a damaged one, if it has any

  /// Returns: whether it is a whole block, as far as it can tell without a record.
  bool sound() const noexcept { return verdict == Verdict::complete || lacksCheckValueOnly; }
};

/// Inflates zlib streams in a file to their end, keeping nothing of what comes out.
///
/// Threads: one at a time. Cost: about 200 kB, allocated once.
class StreamInspector {
 public:
  /// Raises: std::bad_alloc.
  StreamInspector();
  ~StreamInspector();
  StreamInspector(const StreamInspector&) = delete;
  StreamInspector& operator=(const StreamInspector&) = delete;

  /// Inflates the stream at file position `position`, which has at most `room` bytes.
  StreamFacts inspect(RandomAccessReader& file, int64 position, int64 room);

 private:
  struct Inflater;
  std::unique_ptr<Inflater> inflater_;
  std::vector<unsigned char> compressed_;
  std::vector<unsigned char> plain_;
};

/// Returns: what the block of a record is whose stream was inspected in the room that the record gives it; as
/// readBlock tells it.
BlockState stateOf(const StreamFacts& facts, const bInfo& record) noexcept;

}  // namespace datasource::form

#endif
