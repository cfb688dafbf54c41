#include "casefile/block.h"

#include <memory>
#include <optional>

#include "blockBytes.h"
#include "casefile/error.h"
#include "compressedForm.h"
#include "encoder/blockEncoder.h"
#include "encoderChoice.h"

namespace casefile {
namespace {

[[noreturn]] void refuse(ErrorKind kind, const char* what) { throw Error(kind, what, {{}, "compress", {}, {}, {}}); }

}  // namespace

std::size_t blockSize() noexcept { return kBlockSize; }

std::vector<std::byte> compressBlock(std::span<const std::byte> bytes, Encoder encoder) {
  if (bytes.size() != kBlockSize || bytes.data() == nullptr) {
    refuse(ErrorKind::usage, "the bytes of one whole block are wanted");
  }
  const auto codec = datasource::form::makeEncoder(requireBuiltIn(encoder, {}));
  const auto room = std::make_unique_for_overwrite<std::byte[]>(kBlockSize);
  const auto size = compressInto(*codec, bytes.data(), bytes.size(), room.get());
  if (!size) {
    refuse(ErrorKind::doesNotFit, "a block does not fit its compressed form: the data hardly compress");
  }
  return {room.get(), room.get() + *size};
}

}  // namespace casefile
