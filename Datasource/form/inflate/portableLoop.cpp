#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "fastLoop.h"

namespace datasource::form::inflating {
namespace {

/// What spreads so many bytes of a word over all of it, when the word's other bytes are zero.
constexpr std::array<std::uint64_t, 8> kSpread = [] {
  std::array<std::uint64_t, 8> spread{};
  for (unsigned bytes = 1; bytes < spread.size(); ++bytes) {
    for (unsigned at = 0; at < 8; at += bytes) {
      spread[bytes] |= std::uint64_t{1} << (8 * at);
    }
  }
  return spread;
}();
/// The least multiple of a distance below 8 that is not.
constexpr std::array<std::uint8_t, 8> kMultiple = {8, 8, 8, 9, 8, 10, 12, 14};

std::uint64_t load(const unsigned char* from) noexcept {
  std::uint64_t word = 0;
  std::memcpy(&word, from, sizeof word);
  return word;
}

void store(unsigned char* to, std::uint64_t word) noexcept { std::memcpy(to, &word, sizeof word); }

/// For every little-endian machine of 64 bits.
struct Portable {
  static std::uint64_t low(std::uint64_t value, Step step) noexcept { return lowBits(value, bitsTaken(step)); }

  static void repeat(unsigned char* to, const unsigned char* from, std::size_t distance) noexcept {
    std::uint64_t first = load(from);
    if (distance < 8) [[unlikely]] {
      first = lowBits(first, static_cast<unsigned>(8 * distance)) * kSpread[distance];
      distance = kMultiple[distance];
    }
    store(to, first);
    store(to + 8, load(to + 8 - distance));
  }
};

}  // namespace

LoopEnd portableLoop(const BlockTables& tables, BitReader& reader, Output& output, unsigned char* stop) noexcept {
  return FastLoop<Portable>::run(tables, reader, output, stop);
}

}  // namespace datasource::form::inflating
