#ifndef CASEFILE_BLOCKSOURCE_H
#define CASEFILE_BLOCKSOURCE_H

#include <cstddef>
#include <memory>

#include "blockCache.h"
#include "bufferPool.h"
#include "caseTable.h"
#include "sourceReader.h"

namespace casefile {

/// Reads and decodes the blocks of one file.
///
/// Threads: any number at once.
class BlockSource : public pipeline::BlockDecoder {
 public:
  /// Requires: both outlive the object.
  BlockSource(SourceReader& source, const CaseTable& table);

  /// Raises: Error (`damaged`) that names the block; what the source raises.
  void decode(std::size_t block, pipeline::DecodedBlock& into) override;

 private:
  SourceReader& source_;
  const CaseTable& table_;
  std::shared_ptr<pipeline::BufferPool> compressed_;
};

}  // namespace casefile

#endif
