#include "bufferPool.h"

#include <new>
#include <utility>

namespace casefile::pipeline {

PageBuffer BufferPool::take() {
  {
    const Lock lock(mutex_);
    if (!free_.empty()) {
      auto buffer = std::move(free_.back());
      free_.pop_back();
      return buffer;
    }
  }
  // Not filled: whoever takes it writes it first.
  return PageBuffer(new (PageAligned::kPage) std::byte[bufferSize_]);
}

void BufferPool::giveBack(PageBuffer buffer) noexcept {
  const Lock lock(mutex_);
  if (free_.size() < spares_) {
    free_.push_back(std::move(buffer));
  }
}

}  // namespace casefile::pipeline
