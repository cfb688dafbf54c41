#include "blockBytes.h"

#include <cstdint>
#include <new>

#include "blockCodec.h"
#include "blockReader.h"
#include "compressedForm.h"

namespace casefile {

using datasource::form::Verdict;

std::optional<std::size_t> compressInto(datasource::form::BlockEncoder& encoder, const std::byte* bytes,
                                        std::size_t count, std::byte* dest) {
  auto* const to = reinterpret_cast<unsigned char*>(dest);
  const auto result =
      datasource::form::encodeBlock(encoder, reinterpret_cast<const unsigned char*>(bytes), count, to, kBlockSize);
  if (result.verdict != Verdict::complete && result.verdict != Verdict::outputFull) {
    throw std::bad_alloc();
  }
  if (result.verdict == Verdict::outputFull && !datasource::form::yieldsAll(to, result.produced, count)) {
    return std::nullopt;
  }
  return result.produced;
}

bool isWholeBlock(std::byte* compressed, std::size_t count, std::byte* scratch) noexcept {
  const bInfo record{0, 0, static_cast<std::int32_t>(kBlockSize), static_cast<std::int32_t>(count)};
  const datasource::form::BlockBuffers buffers{reinterpret_cast<unsigned char*>(compressed),
                                               reinterpret_cast<unsigned char*>(scratch), kBlockSize, kBlockSize};
  const auto result = datasource::form::unpackBlock(record, buffers, count);
  return result.state == datasource::form::BlockState::sound && result.consumed == count;
}

}  // namespace casefile
