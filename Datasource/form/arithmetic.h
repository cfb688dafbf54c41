#ifndef DATASOURCE_FORM_ARITHMETIC_H
#define DATASOURCE_FORM_ARITHMETIC_H

#include <cstddef>
#include <cstdint>

#include "Datasource/platform/types.h"

// Deliberate cuts and sums. Counts of raw transfers are 32 bits wide; positions may be anything a caller
// or a damaged file says, so sums of them wrap instead of overflowing.

template <typename T>
constexpr std::uint32_t low32Unsigned(T value) noexcept {
  return static_cast<std::uint32_t>(value);
}

template <typename T>
constexpr std::int32_t low32Signed(T value) noexcept {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

template <typename T>
constexpr int64 positionPlus(int64 position, T distance) noexcept {
  return static_cast<int64>(static_cast<std::uint64_t>(position) + static_cast<std::uint64_t>(distance));
}

/// Returns: how far `position` lies behind `start`; a huge number when it lies before it.
constexpr std::uint64_t distanceFrom(int64 start, int64 position) noexcept {
  return static_cast<std::uint64_t>(position) - static_cast<std::uint64_t>(start);
}

#endif
