#ifndef CASEFILE_RANGE_H
#define CASEFILE_RANGE_H

#include <cstdint>

namespace casefile {

/// Bytes of the uncompressed data: `size` of them from the logical position `start`.
struct LogicalRange {
  std::int64_t start = 0;  ///< logical position of the first byte
  std::int64_t size = 0;   ///< how many bytes

  /// Returns: the logical position behind the last byte.
  std::int64_t end() const noexcept { return start + size; }
  bool operator==(const LogicalRange&) const = default;
};

}  // namespace casefile

#endif
