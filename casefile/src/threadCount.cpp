#include "threadCount.h"

#include <algorithm>

#include "processors.h"

namespace casefile {

std::size_t threadCount(std::size_t asked) noexcept {
  constexpr std::size_t kMost = 512;
  return std::min<std::size_t>(asked != 0 ? asked : datasource::platform::usableProcessors(), kMost);
}

}  // namespace casefile
