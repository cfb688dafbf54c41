#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <future>
#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "casefile/error.h"

namespace {

using casefile::Error;
using casefile::ErrorKind;
using casefile::printable;

std::error_code diskFull() { return {ENOSPC, std::generic_category()}; }

TEST(ErrorText, NamesFileHappeningAndTheSystemsReasonOnOneLine) {
  const Error error(ErrorKind::system, "cannot be written", {"a.case", "write", diskFull(), 100, {}});
  EXPECT_EQ(std::string(error.what()), "a.case: cannot be written: " + diskFull().message());
}

TEST(ErrorText, IsOneLineWhateverTheFileIsCalled) {
  const Error error(ErrorKind::damaged, "block 3 is damaged", {"a\nb\x7F.case", "read", {}, {}, {}});
  EXPECT_STREQ(error.what(), "a\\x0ab\\x7f.case: block 3 is damaged");
  EXPECT_EQ(error.file(), "a\nb\x7F.case");
}

TEST(ErrorText, WithoutAFileBeginsWithTheHappening) {
  EXPECT_STREQ(Error(ErrorKind::usage, "a null pointer is no buffer", {}).what(), "a null pointer is no buffer");
}

TEST(ErrorPlace, IsKeptByACopy) {
  const Error error(ErrorKind::doesNotFit, "does not fit", {"a.case", "write", diskFull(), 7, {{10, 20}}});
  const Error copy = error;
  EXPECT_EQ(copy.kind(), ErrorKind::doesNotFit);
  EXPECT_EQ(copy.operation(), "write");
  EXPECT_EQ(copy.code(), diskFull());
  EXPECT_EQ(copy.filePosition(), 7);
  EXPECT_EQ(copy.range(), (casefile::LogicalRange{10, 20}));
  EXPECT_TRUE(std::is_nothrow_copy_constructible_v<Error>);
}

// What a source of the program's own raises keeps its category, whichever that is.
TEST(ErrorPlace, KeepsAReasonOfAnotherCategory) {
  const std::error_code reason = std::make_error_code(std::future_errc::broken_promise);
  EXPECT_EQ(Error(ErrorKind::system, "cannot be read", {"a.case", "read", reason, {}, {}}).code(), reason);
}

TEST(ErrorPlace, ComparesWithTheProgramsOwnConditions) {
  EXPECT_EQ(Error(ErrorKind::system, "cannot be written", {"a.case", "write", diskFull(), {}, {}}).code(),
            std::errc::no_space_on_device);
}

TEST(ErrorPlace, IsCaughtByItsTypeAcrossTheLibrarysBorder) {
  EXPECT_THROW(throw Error(ErrorKind::usage, "wrong", {}), std::runtime_error);
}

// A letter's bytes in UTF-8 if it had that many, be that right or not.
std::string inBytes(std::uint32_t code, std::size_t length) {
  if (length == 1) {
    return {static_cast<char>(code)};
  }
  std::string bytes(length, '\0');
  for (std::size_t i = length; --i > 0; code >>= 6U) {
    bytes[i] = static_cast<char>(0x80U | (code & 0x3FU));
  }
  constexpr std::array<std::uint32_t, 5> kLead = {0, 0, 0xC0, 0xE0, 0xF0};
  bytes[0] = static_cast<char>(kLead[length] | code);
  return bytes;
}

// Letters at the limits of what their count of bytes can tell, of the halves of pairs and of all letters.
TEST(PrintableTexts, KeepLettersAndNothingElse) {
  const std::vector<std::pair<std::uint32_t, std::size_t>> letters = {
      {' ', 1},    {'~', 1},    {0xA0, 2},   {0x7FF, 2},   {0x800, 3},    {0xD7FF, 3},
      {0xE000, 3}, {0xF000, 3}, {0xFFFF, 3}, {0x10000, 4}, {0x10FFFF, 4}, {0x40000, 4}};
  for (const auto& [code, length] : letters) {
    EXPECT_EQ(printable(inBytes(code, length)), inBytes(code, length)) << code;
  }
  const std::vector<std::pair<std::uint32_t, std::size_t>> others = {
      {0x1F, 1},   {0x7F, 1},   {0x80, 2},   {0x9F, 2},   {0x7F, 2},   {0x41, 2},     {0x7FF, 3},   {0xA0, 3},
      {0xD800, 3}, {0xDC00, 3}, {0xDFFF, 3}, {0xFFFF, 4}, {0xE000, 4}, {0x110000, 4}, {0x1FFFFF, 4}};
  for (const auto& [code, length] : others) {
    std::string escaped;
    for (const char byte : inBytes(code, length)) {
      constexpr char kDigits[] = "0123456789abcdef";
      const auto value = static_cast<unsigned char>(byte);
      escaped += std::string("\\x") + kDigits[value >> 4U] + kDigits[value & 15U];
    }
    EXPECT_EQ(printable(inBytes(code, length)), escaped) << code << " in " << length;
  }
}

TEST(PrintableTexts, ShowWhatBeginsNoLetter) {
  EXPECT_EQ(printable("\x80z"), "\\x80z");
  EXPECT_EQ(printable("\xBFz"), "\\xbfz");
  EXPECT_EQ(printable("\xF8\x88\x80\x80\x80"), "\\xf8\\x88\\x80\\x80\\x80");
  EXPECT_EQ(printable("\xC3"), "\\xc3");
  EXPECT_EQ(printable("\xE2\x82z"), "\\xe2\\x82z");
  EXPECT_EQ(printable(""), "");
}

}  // namespace
