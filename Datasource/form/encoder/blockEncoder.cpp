#include "blockEncoder.h"

#include <array>
#include <utility>

#include "encoders.h"

namespace datasource::form {
namespace {

constexpr std::array<std::pair<std::string_view, EncoderChoice>, 5> kNames = {
    {{"auto", EncoderChoice::automatic},
     {"zlib", EncoderChoice::zlib},
     {"libdeflate", EncoderChoice::libdeflate},
     {"isal", EncoderChoice::isal},
     {"fast", EncoderChoice::fast}}};

}  // namespace

const std::vector<EncoderChoice>& builtInEncoders() {
  static const std::vector<EncoderChoice> encoders = [] {
    std::vector known = {EncoderChoice::fast, EncoderChoice::libdeflate, EncoderChoice::zlib};
    if (isalIsBuiltIn()) {
      known.insert(known.begin(), EncoderChoice::isal);
    }
    return known;
  }();
  return encoders;
}

std::optional<EncoderChoice> encoderNamed(std::string_view name) noexcept {
  for (const auto& [known, choice] : kNames) {
    if (known == name) {
      return choice;
    }
  }
  return std::nullopt;
}

std::unique_ptr<BlockEncoder> makeEncoder(EncoderChoice choice) {
  switch (choice) {
    case EncoderChoice::automatic:
      return makeEncoder(builtInEncoders().front());
    case EncoderChoice::zlib:
      return makeZlibEncoder();
    case EncoderChoice::libdeflate:
      return makeLibdeflateEncoder();
    case EncoderChoice::isal:
      return makeIsalEncoder();
    case EncoderChoice::fast:
      return makeFastEncoder();
  }
  return nullptr;
}

CodecResult encodeBlock(BlockEncoder& encoder, const unsigned char* source, std::size_t count, unsigned char* dest,
                        std::size_t capacity) {
  const CodecResult result = encoder.compress(source, count, dest, capacity);
  return result.verdict == Verdict::complete ? result : compressBlock(source, count, dest, capacity);
}

}  // namespace datasource::form
