#include "fuzz/input.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace proof {

std::int64_t Input::number() {
  using Short = std::numeric_limits<std::int32_t>;
  using Long = std::numeric_limits<std::int64_t>;
  static constexpr std::array<std::int64_t, 16> kEdges{0,
                                                       1,
                                                       -1,
                                                       2,
                                                       -100,
                                                       23,
                                                       24,
                                                       25,
                                                       4095,
                                                       4096,
                                                       4097,
                                                       Short::max(),
                                                       Short::max() + std::int64_t{1},
                                                       Short::min(),
                                                       Long::max(),
                                                       Long::min()};
  const std::size_t choice = below(32);
  if (choice < kEdges.size()) {
    return kEdges[choice];
  }
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < choice % 8 + 1; ++i) {
    value = value * 256 + byte();
  }
  return static_cast<std::int64_t>(value);
}

}  // namespace proof
