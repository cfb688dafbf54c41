#include "x86Loop.h"

#include <immintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "fastLoop.h"

namespace datasource::form::inflating {
namespace {

/// For each distance below 16 which of the 16 bytes there come next; for 16 they as they are.
struct Patterns {
  alignas(16) std::array<std::array<std::uint8_t, 16>, 17> of{};
  constexpr Patterns() {
    for (std::size_t distance = 0; distance < of.size(); ++distance) {
      for (std::size_t i = 0; i < 16; ++i) {
        of[distance][i] = static_cast<std::uint8_t>(distance == 0 ? 0 : i % distance);
      }
    }
  }
};
constexpr Patterns kPatterns;

struct X86 {
  static std::uint64_t low(std::uint64_t value, Step step) noexcept {
    return _bzhi_u64(value, static_cast<unsigned>(step));  // by the lowest 8 bits
  }

  static void repeat(unsigned char* to, const unsigned char* from, std::size_t distance) noexcept {
    const auto& pattern = kPatterns.of[distance < 16 ? distance : 16];
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i order = _mm_load_si128(reinterpret_cast<const __m128i*>(pattern.data()));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_shuffle_epi8(bytes, order));
  }
};

}  // namespace

LoopEnd x86Loop(const BlockTables& tables, BitReader& reader, Output& output, unsigned char* stop) noexcept {
  return FastLoop<X86>::run(tables, reader, output, stop);
}

}  // namespace datasource::form::inflating
