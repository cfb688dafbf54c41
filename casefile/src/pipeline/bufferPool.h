#ifndef CASEFILE_PIPELINE_BUFFERPOOL_H
#define CASEFILE_PIPELINE_BUFFERPOOL_H

#include <cstddef>
#include <cstdint>
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

/// How much of a buffer is going to be written, when nobody knows less.
inline constexpr std::size_t kAll = SIZE_MAX;

/// Returns: memory with any contents. Large pages are asked for as far as they are going to be `filled`: all of a
/// block's 4 MiB then cost two page faults, not 1,023, where a few bytes would pay for clearing 2 MiB.
/// Raises: std::bad_alloc.
PageBuffer makePageBuffer(std::size_t size, std::size_t filled = kAll);

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

  /// Returns: a buffer with any contents; `filled` as makePageBuffer.
  PageBuffer take(std::size_t filled = kAll);
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
  explicit PooledBuffer(std::shared_ptr<BufferPool> pool, std::size_t filled = kAll)
      : pool_(std::move(pool)), bytes_(pool_->take(filled)) {}
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
