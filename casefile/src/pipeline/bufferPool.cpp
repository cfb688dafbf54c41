#include "bufferPool.h"

#include <algorithm>
#include <new>
#include <utility>

#include "largePages.h"

namespace casefile::pipeline {

PageBuffer makePageBuffer(std::size_t size, std::size_t filled) {
  using datasource::platform::largePage;
  constexpr std::size_t kPage = 4096;
  // One that is filled by half pays already.
  const std::size_t large = (std::min(size, filled) + largePage / 2) / largePage * largePage;
  if (large == 0) {
    const std::align_val_t page{kPage};
    return PageBuffer(new (page) std::byte[size], PageAligned{page});
  }
  const std::align_val_t page{largePage};
  PageBuffer buffer(new (page) std::byte[std::max(size, large)], PageAligned{page});
  datasource::platform::preferLargePages(buffer.get(), large);
  return buffer;
}

PageBuffer BufferPool::take(std::size_t filled) {
  {
    const Lock lock(mutex_);
    if (!free_.empty()) {
      auto buffer = std::move(free_.back());
      free_.pop_back();
      return buffer;
    }
  }
  // Not filled: whoever takes it writes it first.
  return makePageBuffer(bufferSize_, filled);
}

void BufferPool::giveBack(PageBuffer buffer) noexcept {
  const Lock lock(mutex_);
  if (free_.size() < spares_) {
    free_.push_back(std::move(buffer));
  }
}

}  // namespace casefile::pipeline
