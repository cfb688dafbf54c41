#include <array>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include "casefile/error.h"

namespace casefile {
namespace {

// The letter at the front of a text in UTF-8.
struct Letter {
  std::size_t length = 0;  // in bytes; 0: there is none
  char32_t code = 0;
};

// Takes no letter that is longer than it need be, no half of a pair and none beyond the last one.
Letter firstLetter(std::string_view text) {
  constexpr std::array<char32_t, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};  // that needs so many bytes
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC0 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF8 ? 4
                                           : 0;
  char32_t code = length == 1 ? lead : lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(i < text.size() ? text[i] : '\0');
    if ((byte & 0xC0U) != 0x80) {
      return {};
    }
    code = code << 6U | (byte & 0x3FU);
  }
  const bool isHalf = 0xD800 <= code && code < 0xE000;
  return code < kLeast[length] || isHalf || code > 0x10FFFF ? Letter{} : Letter{length, code};
}

bool isControl(char32_t code) { return code < ' ' || (0x7F <= code && code < 0xA0); }

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Letter letter = firstLetter(text);
    if (letter.length > 0 && !isControl(letter.code)) {
      result += text.substr(0, letter.length);
      text.remove_prefix(letter.length);
    } else {
      std::array<char, 8> code{};
      std::snprintf(code.data(), code.size(), "\\x%02x", static_cast<unsigned char>(text.front()));
      result += code.data();
      text.remove_prefix(1);
    }
  }
  return result;
}

}  // namespace casefile
