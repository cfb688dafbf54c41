#include "largePages.h"

#include <sys/mman.h>

namespace datasource::platform {

#ifdef MADV_HUGEPAGE
const std::size_t largePage = std::size_t{2} << 20;

void preferLargePages(void* memory, std::size_t size) noexcept {
  static_cast<void>(::madvise(memory, size, MADV_HUGEPAGE));
}
#else
const std::size_t largePage = 4096;

void preferLargePages(void* /*memory*/, std::size_t /*size*/) noexcept {}
#endif

}  // namespace datasource::platform
