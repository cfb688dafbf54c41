#include "Datasource/sortTemp/lz4Compress.h"

#include <lz4.h>
#include <lz4hc.h>

#include "Datasource/platform/assertion.h"
#include "arithmetic.h"

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/sortTemp/lz4Compress";
constexpr int kDefaultLevel = 0;  // taken by the library as its own default

bool argumentsPresent(const char* source, const char* dest, std::size_t outCount, std::size_t inCount) {
  return DATASOURCE_ASSERT(source && dest && outCount && inCount, "souce && dest && outCount && inCount", kSource) ||
         (source != nullptr && dest != nullptr);
}

}  // namespace

std::size_t lz4CompressBlock::compressBlock(char* source, std::size_t inCount, char* dest, std::size_t outCount,
                                            int mode) {
  if (!argumentsPresent(source, dest, outCount, inCount)) {
    return 0;
  }
  const int sourceSize = low32Signed(inCount);
  const int capacity = low32Signed(outCount);
  // Kept as is: the mode is a switch, not a level.
  const int length = mode == 0 ? LZ4_compress_default(source, dest, sourceSize, capacity)
                               : LZ4_compress_HC(source, dest, sourceSize, capacity, kDefaultLevel);
  return static_cast<std::size_t>(length);
}

std::size_t lz4CompressBlock::decompressBlock(char* source, std::size_t inCount, char* dest, std::size_t outCount) {
  if (!argumentsPresent(source, dest, outCount, inCount)) {
    return static_cast<std::size_t>(-1);
  }
  // Kept as is: a negative error code is widened with its sign.
  return static_cast<std::size_t>(LZ4_decompress_safe(source, dest, low32Signed(inCount), low32Signed(outCount)));
}
