#ifndef CASEFILE_PIPELINE_BLOCKCACHE_H
#define CASEFILE_PIPELINE_BLOCKCACHE_H

#include <cstddef>
#include <exception>
#include <list>
#include <memory>
#include <unordered_map>

#include "bufferPool.h"
#include "threadPrimitives.h"

namespace casefile::pipeline {

/// The bytes of one decoded block.
struct DecodedBlock {
  explicit DecodedBlock(std::shared_ptr<BufferPool> pool, std::size_t filled = kAll) : bytes(std::move(pool), filled) {}
  PooledBuffer bytes;
  std::size_t size = 0;
};

/// Makes the bytes of a block. Threads: several blocks at once.
class BlockDecoder {
 public:
  virtual ~BlockDecoder() = default;
  virtual void decode(std::size_t block, DecodedBlock& into) = 0;
};

/// The decoded blocks that were used last. Threads that want the same block wait for one decoding.
///
/// Whoever holds what get() returned keeps it alive; the cache itself keeps at most `capacity` blocks, and
/// lets one go before it decodes another, so that its memory serves again.
///
/// Threads: any number. The lock is held for a lookup, never while something is decoded.
class BlockCache {
 public:
  /// `capacity`: blocks to keep; 0 decodes for each call. `blockSize`: room for any block. `filled`: the most of it
  /// that a block fills.
  BlockCache(BlockDecoder& decoder, std::size_t capacity, std::size_t blockSize, std::size_t filled = kAll);

  /// Returns: the block's bytes.
  /// Raises: what decoding raises, to all who wait for it; the next call tries again.
  std::shared_ptr<const DecodedBlock> get(std::size_t block);

 private:
  using Bytes = std::shared_ptr<const DecodedBlock>;
  struct Kept {
    Bytes bytes;
    std::list<std::size_t>::iterator use;
  };
  // One decoding and what those who wait for it are told.
  struct Decoding {
    Condition ended;
    bool over = false;
    Bytes bytes;  // null: it failed
    std::exception_ptr error;
  };

  Bytes decode(std::size_t block);
  Bytes decodeForAll(std::size_t block, Decoding& decoding);
  static Bytes await(Lock& lock, Decoding& decoding);
  void keep(std::size_t block, const Bytes& bytes) noexcept;
  void makeRoom() noexcept;

  BlockDecoder& decoder_;
  const std::size_t capacity_;
  const std::size_t filled_;
  const std::shared_ptr<BufferPool> pool_;
  Mutex mutex_;
  std::list<std::size_t> uses_;                                           // block numbers, last used first
  std::unordered_map<std::size_t, Kept> kept_;                            // the same blocks
  std::unordered_map<std::size_t, std::shared_ptr<Decoding>> decodings_;  // those that are not over
};

}  // namespace casefile::pipeline

#endif
