#include "escaped.h"

#include <array>
#include <cstddef>
#include <cstdio>

namespace casefile::program {
namespace {

unsigned char byteOf(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(index < text.size() ? text[index] : '\0');
}

bool continues(unsigned char byte) { return byte >= 0x80 && byte < 0xC0; }

// How many bytes a letter has that begins with this one; 0: none does.
std::size_t lengthToldBy(unsigned char lead) {
  if (lead < 0x80) {
    return 1;
  }
  if (lead < 0xC2 || lead > 0xF4) {
    return 0;
  }
  return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// Whether the second byte makes no letter longer than it need be, no half of a pair and none beyond the last one.
bool mayFollow(unsigned char lead, unsigned char second) {
  switch (lead) {
    case 0xE0:
      return second >= 0xA0;
    case 0xED:
      return second < 0xA0;
    case 0xF0:
      return second >= 0x90;
    case 0xF4:
      return second < 0x90;
    default:
      return true;
  }
}

// Returns: how many bytes the letter at the front of a text has; 0 when there is none.
std::size_t letterLength(std::string_view text) {
  const std::size_t length = lengthToldBy(byteOf(text, 0));
  for (std::size_t i = 1; i < length; ++i) {
    if (!continues(byteOf(text, i))) {
      return 0;
    }
  }
  return length > 1 && !mayFollow(byteOf(text, 0), byteOf(text, 1)) ? 0 : length;
}

bool isControl(std::string_view letter) {
  constexpr unsigned char kDelete = 0x7F;
  constexpr unsigned char kLeadOfC1 = 0xC2;  // the second set of control characters is C2 80 to C2 9F
  const unsigned char first = byteOf(letter, 0);
  return first < ' ' || first == kDelete || (first == kLeadOfC1 && byteOf(letter, 1) < 0xA0);
}

void appendCodes(std::string& result, std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::array<char, 8> code{};
    std::snprintf(code.data(), code.size(), "\\x%02x", byteOf(bytes, i));
    result += code.data();
  }
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = letterLength(text);
    const std::string_view letter = text.substr(0, length > 0 ? length : 1);
    if (length == 0 || isControl(letter)) {
      appendCodes(result, letter);
    } else {
      result += letter;
    }
    text.remove_prefix(letter.size());
  }
  return result;
}

}  // namespace casefile::program
