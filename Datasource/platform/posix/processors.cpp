#include "processors.h"

#include <sched.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "processorQuota.h"

namespace datasource::platform {
namespace {

// Returns: 0 when the system does not tell.
unsigned processorsOfAffinity() {
  constexpr std::size_t kMost = 1U << 16U;
  for (std::size_t count = 1024; count <= kMost; count *= 2) {
    std::vector<cpu_set_t> set(count / CPU_SETSIZE);
    const std::size_t size = set.size() * sizeof(cpu_set_t);
    if (sched_getaffinity(0, size, set.data()) == 0) {
      return static_cast<unsigned>(CPU_COUNT_S(size, set.data()));
    }
  }
  return 0;
}

}  // namespace

unsigned usableProcessors() noexcept {
  unsigned result = 1;
  try {
    const unsigned affinity = processorsOfAffinity();
    result = affinity != 0 ? affinity : std::thread::hardware_concurrency();
    if (const unsigned quota = processorQuota(); quota != 0) {
      result = std::min(result, quota);
    }
  } catch (...) {
    // No memory to ask in full: what is known by then.
  }
  return std::max(result, 1U);
}

}  // namespace datasource::platform
