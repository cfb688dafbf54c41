#ifndef CASEFILE_PIPELINE_BUFFERPOOL_H
#define CASEFILE_PIPELINE_BUFFERPOOL_H

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "threadPrimitives.h"

namespace casefile::pipeline {

/// Memory that begins with a page: the system copies to and from there some 5 % faster.
struct PageAligned {
  std::align_val_t page{};  // how it was allocated
  void operator()(std::byte* bytes) const noexcept { ::operator delete[](bytes, page); }
};
using PageBuffer = std::unique_ptr<std::byte[], PageAligned>;

/// Returns: memory with any contents, in large pages where it fills one: a block's 4 MiB cost two faults, not 1,023.
/// Raises: std::bad_alloc.
PageBuffer makePageBuffer(std::size_t size);

/// Memory blocks of one size that are used again: what the system hands out fresh costs a page fault for
/// every page, a fifth of what decoding into it costs.
///
/// Threads: any number.
class BufferPool {
 public:
  /// `spares`: how many free buffers are kept at most.
  BufferPool(std::size_t bufferSize, std::size_t spares) : bufferSize_(bufferSize), spares_(spares) {
    free_.reserve(spares);
  }

  std::size_t bufferSize() const noexcept { return bufferSize_; }

  /// Returns: a buffer with any contents.
  PageBuffer take();
  void giveBack(PageBuffer buffer) noexcept;

 private:
  const std::size_t bufferSize_;
  const std::size_t spares_;
  Mutex mutex_;
  std::vector<PageBuffer> free_;  // never more than it has room for
};

/// A buffer of a pool, given back by the destructor.
class PooledBuffer {
 public:
  explicit PooledBuffer(std::shared_ptr<BufferPool> pool) : pool_(std::move(pool)), bytes_(pool_->take()) {}
  ~PooledBuffer() { pool_->giveBack(std::move(bytes_)); }
  PooledBuffer(const PooledBuffer&) = delete;
  PooledBuffer& operator=(const PooledBuffer&) = delete;

  std::byte* data() noexcept { return bytes_.get(); }
  const std::byte* data() const noexcept { return bytes_.get(); }
  std::size_t capacity() const noexcept { return pool_->bufferSize(); }

 private:
  std::shared_ptr<BufferPool> pool_;
  PageBuffer bytes_;
};

}  // namespace casefile::pipeline

#endif
