#include "bufferPool.h"

namespace casefile::pipeline {

std::unique_ptr<std::byte[]> BufferPool::take() {
  {
    const Lock lock(mutex_);
    if (!free_.empty()) {
      auto buffer = std::move(free_.back());
      free_.pop_back();
      return buffer;
    }
  }
  // Not filled: whoever takes it writes it first.
  return std::unique_ptr<std::byte[]>(new std::byte[bufferSize_]);
}

void BufferPool::giveBack(std::unique_ptr<std::byte[]> buffer) noexcept {
  const Lock lock(mutex_);
  if (free_.size() < spares_) {
    free_.push_back(std::move(buffer));
  }
}

}  // namespace casefile::pipeline
