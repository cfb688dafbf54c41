#ifndef CASEFILE_BLOCKWRITING_H
#define CASEFILE_BLOCKWRITING_H

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "blockTarget.h"
#include "bufferPool.h"
#include "casefile/error.h"
#include "casefile/range.h"
#include "compressedForm.h"
#include "encoder/blockEncoder.h"
#include "orderedLine.h"
#include "progressReport.h"
#include "threadGroup.h"

namespace casefile {

/// Where writing begins in a file, and what it already has.
struct WritingStart {
  int64 row0 = 0;              ///< where the heading is, or will be
  int64 filePos = 0;           ///< where the first block goes
  int64 logicalPos = 0;        ///< of that block's first byte
  std::vector<bInfo> records;  ///< of the blocks in front of it
  int64 known = 0;             ///< its first bytes, which were in the file before and are not reported as done

  /// Returns: the start of a new file.
  static WritingStart ofNewFile(int64 row0) { return {row0, row0 + static_cast<int64>(kHeadingSize), row0, {}, 0}; }
};

/// By what, and on how many threads, blocks are compressed.
struct Compressing {
  datasource::form::EncoderChoice encoder;  ///< one that is built in
  std::size_t threads;                      ///< at least one
};

/// Compresses blocks on several threads and writes them in order behind those that a file has, if any.
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
  /// Requires: file and report outlive the object. The bytes that the first block had are written first.
  BlockWriting(BlockTarget& file, WritingStart start, const Compressing& how, ProgressReport& report);
  ~BlockWriting() override;

  /// Waits for a free slot when none is being filled.
  /// Returns: what is free of the block that is being filled, at least one byte.
  /// Raises: the first error in the order of the file, of an earlier call's block.
  std::span<std::byte> room();
  /// Adds the first `count` bytes of the room. Raises: as room, of this call's block too.
  void advance(std::size_t count);
  /// Raises: as advance.
  void write(std::span<const std::byte> bytes);
  /// Returns: whether no block is partly filled.
  bool isBetweenBlocks() const noexcept { return filled_ == 0; }
  /// Adds a whole block that was compressed elsewhere.
  /// Requires: isBetweenBlocks(); no more bytes than a block has.
  /// Raises: as advance; of this call's block Error (`damaged`) when it is none.
  void writeBlock(std::span<const std::byte> compressed);
  /// Writes the last block, the table and the heading. Raises: as write.
  void finish();

  void make(std::size_t item, std::size_t worker) override;
  void deliver(std::size_t item, std::size_t worker) override;

 private:
  struct Slot {
    std::optional<pipeline::PooledBuffer> bytes;
    std::size_t size = 0;            // of the block, uncompressed
    std::size_t compressedSize = 0;  // of the bytes, when they are a block compressed elsewhere; else 0
  };
  // What a thread compresses with, made by itself with its first block, and the block that it made. A block that was
  // compressed elsewhere is inflated there.
  struct Worker {
    std::unique_ptr<datasource::form::BlockEncoder> encoder;
    std::optional<pipeline::PooledBuffer> made;
    std::size_t size = 0;
  };

  Slot& slotOf(std::size_t block) { return slots_[block % slots_.size()]; }
  LogicalRange rangeOf(std::size_t block);
  void handOver(std::size_t compressedSize = 0);
  void compress(std::size_t block, Worker& worker);
  void requireWholeBlock(std::size_t block, Worker& worker);
  [[noreturn]] void refuse(ErrorKind kind, std::size_t block, const char* why);
  void writeTable();

  BlockTarget& file_;
  const int64 row0_;
  const int64 logicalStart_;  // of the first block written here
  const int64 known_;
  const std::size_t blocksBefore_;
  ProgressReport& report_;
  std::shared_ptr<pipeline::BufferPool> pool_;
  std::vector<Slot> slots_;
  const datasource::form::EncoderChoice encoder_;
  std::vector<Worker> workers_;
  std::size_t handedOver_ = 0;  // blocks; the next one is being filled
  std::size_t filled_ = 0;      // bytes of that one
  std::vector<bInfo> records_;  // of the blocks that the file has
  int64 fileEnd_;               // where the next one goes
  pipeline::OrderedLine line_;
  std::optional<pipeline::ThreadGroup> threads_;  // none: the caller's compresses
};

}  // namespace casefile

#endif
