#ifndef CASEFILE_CHECK_BLOCKCHECK_H
#define CASEFILE_CHECK_BLOCKCHECK_H

#include <optional>
#include <string>

#include "bufferPool.h"
#include "casefile/fault.h"
#include "compressedForm.h"
#include "sourceReader.h"
#include "streamInspector.h"

namespace casefile {

/// What is wrong with one zlib stream, if anything.
struct StreamFault {
  FaultKind kind;
  std::string what;
};

/// Looks into the blocks of a file.
///
/// Threads: one at a time. Cost: 8 MiB, with the first block of a record.
class BlockCheck {
 public:
  /// Requires: the source outlives the object.
  explicit BlockCheck(SourceReader& source) : source_(source) {}

  /// Returns: what is wrong with the block of a record; nothing when it is as recorded. Requires: the record is usable.
  /// Raises: what the source raises; std::bad_alloc.
  /// Cost: a sound block is inflated once, by the fastest codec; one that is not, twice.
  std::optional<StreamFault> faultOf(const bInfo& record);

  /// Inflates the stream at a file position, whatever its length, up to a block's bytes.
  datasource::form::StreamFacts inspect(int64 position);

 private:
  bool isAsRecorded(const bInfo& record);

  SourceReader& source_;
  datasource::form::StreamInspector inspector_;
  pipeline::PageBuffer compressed_;
  pipeline::PageBuffer plain_;
};

/// Returns: what keeps a stream from being a block; nothing when it is a sound one, though it may be empty.
std::optional<StreamFault> faultOf(const datasource::form::StreamFacts& facts);

}  // namespace casefile

#endif
