#ifndef CASEFILE_BLOCKWRITING_H
#define CASEFILE_BLOCKWRITING_H

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "atomicFile.h"
#include "bufferPool.h"
#include "casefile/range.h"
#include "compressedForm.h"
#include "orderedLine.h"
#include "progressReport.h"
#include "threadGroup.h"

namespace casefile {

/// Compresses the blocks of a new file on several threads and writes them in order.
///
/// The caller fills one buffer while the threads compress those before it. Block n lies in slot n modulo their
/// count, one more than there are threads, so that a slot is free when the block that lay in it is written:
///
///   slot 0        slot 1        slot 2
///   +-----------+ +-----------+ +-----------+
///   | block 3   | | block 1   | | block 2   |      two threads: 1 and 2 are being compressed,
///   | filled_   | | (full)    | | (full)    |      3 is being filled
///   +-----------+ +-----------+ +-----------+
///
/// Threads: all public calls by one.
class BlockWriting : public pipeline::OrderedWork {
 public:
  /// `row0`: where the heading will be. Requires: file and report outlive the object.
  BlockWriting(AtomicFile& file, int64 row0, std::size_t threads, ProgressReport& report);
  ~BlockWriting() override;

  /// Raises: the first error in the order of the file, of this call or an earlier one's block.
  void write(std::span<const std::byte> bytes);
  /// Writes the last block, the table and the heading. Raises: as write.
  void finish();

  void make(std::size_t item, std::size_t worker) override;
  void deliver(std::size_t item, std::size_t worker) override;

 private:
  struct Slot {
    std::optional<pipeline::PooledBuffer> bytes;
    std::size_t size = 0;
  };
  struct Compressed {
    std::optional<pipeline::PooledBuffer> bytes;
    std::size_t size = 0;
  };

  Slot& slotOf(std::size_t block) { return slots_[block % slots_.size()]; }
  LogicalRange rangeOf(std::size_t block);
  void handOver();
  void writeTable();

  AtomicFile& file_;
  const int64 row0_;
  ProgressReport& report_;
  std::shared_ptr<pipeline::BufferPool> pool_;
  std::vector<Slot> slots_;
  std::vector<Compressed> compressed_;  // by worker
  std::size_t handedOver_ = 0;          // blocks; the next one is being filled
  std::size_t filled_ = 0;              // bytes of that one
  std::vector<bInfo> records_;          // of the blocks that are written
  int64 fileEnd_;                       // where the next one goes
  pipeline::OrderedLine line_;
  std::optional<pipeline::ThreadGroup> threads_;  // none: the caller's compresses
};

}  // namespace casefile

#endif
