#include "largePages.h"

namespace datasource::platform {

// Larger ones are for who has the right to lock pages in memory.
const std::size_t largePage = 4096;

void preferLargePages(void* /*memory*/, std::size_t /*size*/) noexcept {}

}  // namespace datasource::platform
