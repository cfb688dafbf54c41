#include "fastInflate.h"

#include <libdeflate.h>

#include <cstdint>
#include <limits>
#include <memory>

#include "inflate/strictInflate.h"

namespace datasource::form {
namespace {

struct Releasing {
  void operator()(libdeflate_decompressor* decompressor) const noexcept { libdeflate_free_decompressor(decompressor); }
};
using Decompressor = std::unique_ptr<libdeflate_decompressor, Releasing>;

/// Returns: whether a length is one that zlib takes too.
constexpr bool fits32Bits(std::size_t length) noexcept { return length <= std::numeric_limits<std::uint32_t>::max(); }

// From this length on the room's own inflater gains more than its tables cost.
constexpr std::size_t kLongStream = 32 * 1024;

std::optional<InflatedStream> inflateByLibdeflate(const unsigned char* source, std::size_t inCount, unsigned char* dest,
                                                  std::size_t capacity) noexcept {
  // Not kept in a thread_local: what destroys it when a thread ends hangs or breaks the heap now and then on
  // 64-bit Windows (see docs/windows.md).
  const Decompressor decompressor(libdeflate_alloc_decompressor());
  InflatedStream result{};
  if (decompressor == nullptr ||
      libdeflate_zlib_decompress_ex(decompressor.get(), source, inCount, dest, capacity, &result.consumed,
                                    &result.produced) != LIBDEFLATE_SUCCESS) {
    return std::nullopt;
  }
  return result;
}

}  // namespace

std::optional<InflatedStream> fastInflate(const unsigned char* source, std::size_t inCount, unsigned char* dest,
                                          std::size_t capacity) noexcept {
  if (source == nullptr || dest == nullptr || !fits32Bits(inCount) || !fits32Bits(capacity)) {
    return std::nullopt;
  }
  if (inCount >= kLongStream) {
    if (const auto inflated = strictInflate(source, inCount, dest, capacity)) {
      return inflated;
    }
  }
  return inflateByLibdeflate(source, inCount, dest, capacity);
}

}  // namespace datasource::form
