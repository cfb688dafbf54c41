#include "bufferPool.h"

#include <new>
#include <utility>

#include "largePages.h"

namespace casefile::pipeline {

PageBuffer makePageBuffer(std::size_t size) {
  using datasource::platform::largePage;
  constexpr std::size_t kPage = 4096;
  if (size < largePage) {
    const std::align_val_t page{kPage};
    return PageBuffer(new (page) std::byte[size], PageAligned{page});
  }
  const std::align_val_t page{largePage};
  size = (size + largePage - 1) / largePage * largePage;  // the last page is large, too, if all of it is asked for
  PageBuffer buffer(new (page) std::byte[size], PageAligned{page});
  datasource::platform::preferLargePages(buffer.get(), size);
  return buffer;
}

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
  return makePageBuffer(bufferSize_);
}

void BufferPool::giveBack(PageBuffer buffer) noexcept {
  const Lock lock(mutex_);
  if (free_.size() < spares_) {
    free_.push_back(std::move(buffer));
  }
}

}  // namespace casefile::pipeline
