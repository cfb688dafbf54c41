#include "assertionReport.h"

#include <cstdint>
#include <cstdlib>
#include <string>

#include "standardError.h"

namespace datasource::platform {
namespace {

static_assert(sizeof(wchar_t) == 4, "a wide letter is one code point");

void appendLetter(std::string& text, std::uint32_t codePoint) {
  const bool valid = codePoint <= 0x10FFFF && (codePoint < 0xD800 || codePoint > 0xDFFF);
  const std::uint32_t point = valid ? codePoint : 0xFFFD;
  const auto tail = [&](unsigned int shift) { text += static_cast<char>(0x80U | ((point >> shift) & 0x3FU)); };
  if (point < 0x80) {
    text += static_cast<char>(point);
  } else if (point < 0x800) {
    text += static_cast<char>(0xC0U | (point >> 6));
    tail(0);
  } else if (point < 0x10000) {
    text += static_cast<char>(0xE0U | (point >> 12));
    tail(6);
    tail(0);
  } else {
    text += static_cast<char>(0xF0U | (point >> 18));
    tail(12);
    tail(6);
    tail(0);
  }
}

std::string utf8(const wchar_t* wide) {
  std::string text;
  if (wide == nullptr) {
    return text;
  }
  for (; *wide != L'\0'; ++wide) {
    appendLetter(text, static_cast<std::uint32_t>(*wide));
  }
  return text;
}

}  // namespace

void reportAssertionByDefault(const wchar_t* expression, const wchar_t* file, unsigned int line) {
  writeToStandardError("Assertion failed: " + utf8(expression) + ", file " + utf8(file) + ", line " +
                       std::to_string(line) + "\n");
  std::abort();
}

}  // namespace datasource::platform
