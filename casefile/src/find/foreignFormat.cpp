#include "foreignFormat.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "casefile/inspect.h"

namespace casefile {
namespace {

using namespace std::string_view_literals;

// What the files of a form begin with.
struct Signature {
  const char* words;
  std::string_view beginning;
};

constexpr std::array kSignatures = {
    Signature{"a gzip file", "\x1f\x8b\x08"sv},       Signature{"a zstd file", "\x28\xb5\x2f\xfd"sv},
    Signature{"an xz file", "\xfd\x37zXZ\0"sv},       Signature{"a zip file", "PK\x03\x04"sv},
    Signature{"a zip file", "PK\x05\x06\0\0"sv},       // an empty one
    Signature{"a zip file", "PK\x07\x08PK\x03\x04"sv}  // one of several parts
};

// "BZh", the size of its blocks as a digit, and the first six bytes of a block or of the end.
constexpr std::string_view kBzip2 = "BZh"sv;
constexpr std::array kBehindBzip2 = {"\x31\x41\x59\x26\x53\x59"sv, "\x17\x72\x45\x38\x50\x90"sv};
constexpr std::size_t kBzip2Head = kBzip2.size() + 1;
constexpr std::size_t kLongest = kBzip2Head + kBehindBzip2.front().size();

bool isBzip2(std::string_view bytes) {
  return bytes.substr(0, kBzip2.size()) == kBzip2 && bytes.size() >= kBzip2Head &&
         std::any_of(kBehindBzip2.begin(), kBehindBzip2.end(),
                     [bytes](std::string_view next) { return bytes.substr(kBzip2Head, next.size()) == next; });
}

}  // namespace

const char* foreignFormat(std::span<const std::byte> beginning) noexcept {
  const std::string_view bytes(reinterpret_cast<const char*>(beginning.data()), std::min(beginning.size(), kLongest));
  for (const Signature& form : kSignatures) {
    if (bytes.substr(0, form.beginning.size()) == form.beginning) {
      return form.words;
    }
  }
  return isBzip2(bytes) ? "a bzip2 file" : nullptr;
}

std::optional<std::string> wordsForForeign(datasource::form::RandomAccessReader& source) {
  std::array<std::byte, kLongest> beginning{};
  const std::size_t count = source.read(beginning.data(), beginning.size(), 0);
  const char* const format = foreignFormat(std::span(beginning).first(count));
  return format == nullptr ? std::nullopt : std::optional("is " + std::string(format) + ", no compressed data file");
}

}  // namespace casefile
