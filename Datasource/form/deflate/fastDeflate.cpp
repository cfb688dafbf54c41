#include "fastDeflate.h"

#include <libdeflate.h>

#include <cstdint>
#include <span>

namespace datasource::form {
namespace {

constexpr std::size_t kHeadSize = 2;
constexpr std::size_t kCheckSize = 4;

void putCheckValue(std::uint32_t value, unsigned char* to) noexcept {
  for (unsigned i = 0; i < kCheckSize; ++i) {
    to[i] = static_cast<unsigned char>(value >> (24 - 8 * i));
  }
}

}  // namespace

std::size_t FastDeflate::bound(std::size_t count) noexcept {
  const std::size_t blocks = count / deflating::Tokens::kFewestBytes + 1;
  return kHeadSize + deflating::BlockWriter::bound(count, blocks) + kCheckSize;
}

std::size_t FastDeflate::compress(const unsigned char* source, std::size_t count, unsigned char* dest,
                                  std::size_t capacity) noexcept {
  if (capacity < kHeadSize + kCheckSize) {
    return 0;
  }
  dest[0] = 0x78;  // deflate with a window of 32 KiB,
  dest[1] = 0x01;  // fastest
  deflating::BitWriter bits{dest + kHeadSize, dest + (capacity - kCheckSize)};
  const unsigned char* const end = source + count;
  std::uint32_t sum = 1;
  finder_.start(source, count);
  const unsigned char* next = source;
  do {
    const unsigned char* const begin = next;
    tokens_.clear();
    next = finder_.find(begin, tokens_);
    const std::span block(begin, next);
    sum = libdeflate_adler32(sum, begin, block.size());  // while it is in the cache
    if (!writer_.write(tokens_, block, next == end, bits)) {
      return 0;
    }
  } while (next != end);
  bits.toByte();
  putCheckValue(sum, bits.next);
  return static_cast<std::size_t>(bits.next - dest) + kCheckSize;
}

}  // namespace datasource::form
