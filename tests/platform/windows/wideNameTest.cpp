#include <gtest/gtest.h>
#include <stdlib.h>

#include <stdexcept>
#include <string>

#include "../../../Datasource/platform/windows/wideName.h"

namespace {

using datasource::platform::codePageFromWide;
using datasource::platform::utf8FromWide;
using datasource::platform::wideFromCodePage;
using datasource::platform::wideFromUtf8;
using datasource::platform::wideNameForOpen;

const std::string longName(300, 'n');
const std::wstring longWideName(300, L'n');

}  // namespace

TEST(WideName, ShortNamesStayAsTheyAreWithBackslashes) {
  EXPECT_EQ(wideNameForOpen("C:/folder/name.dat"), L"C:\\folder\\name.dat");
  EXPECT_EQ(wideNameForOpen("folder/name.dat"), L"folder\\name.dat");
  EXPECT_EQ(wideNameForOpen(""), L"");
}

TEST(WideName, LongNamesTakeTheExtendedForm) {
  EXPECT_EQ(wideNameForOpen("C:/folder/" + longName), L"\\\\?\\C:\\folder\\" + longWideName);
}

TEST(WideName, LongNamesLoseTheirDotsAndDoubledSlashes) {
  EXPECT_EQ(wideNameForOpen("C:/folder/./other//../" + longName), L"\\\\?\\C:\\folder\\" + longWideName);
}

TEST(WideName, LongNamesOnAServerTakeItsExtendedForm) {
  EXPECT_EQ(wideNameForOpen("//server/share/" + longName), L"\\\\?\\UNC\\server\\share\\" + longWideName);
}

TEST(WideName, RelativeNameCountsWithItsWholePath) {
  const std::wstring name = wideNameForOpen(longName);
  EXPECT_EQ(name.substr(0, 4), L"\\\\?\\");
  EXPECT_EQ(name.substr(name.size() - longWideName.size()), longWideName);
}

// 259 letters and the terminator still fit the ordinary form.
TEST(WideName, TheLimitIs260WithTheTerminator) {
  const std::string start = "C:/";
  EXPECT_EQ(wideNameForOpen(start + std::string(256, 'n')).substr(0, 4), L"C:\\n");
  EXPECT_EQ(wideNameForOpen(start + std::string(257, 'n')).substr(0, 4), L"\\\\?\\");
}

TEST(WideName, ExtendedNamesAndDevicesPassUnchanged) {
  EXPECT_EQ(wideNameForOpen("//?/C:/" + longName), L"\\\\?\\C:\\" + longWideName);
  EXPECT_EQ(wideNameForOpen("//./pipe/" + longName), L"\\\\.\\pipe\\" + longWideName);
}

TEST(WideText, LettersBeyond16BitsBecomeTwoUnitsAndComeBack) {
  const std::string emoji = "\xF0\x9F\x98\x80";
  EXPECT_EQ(wideFromUtf8(emoji).size(), 2U);
  EXPECT_EQ(utf8FromWide(wideFromUtf8(emoji)), emoji);
}

TEST(WideText, BrokenTextIsRefused) {
  EXPECT_THROW(wideFromUtf8("\xC3"), std::invalid_argument);
  EXPECT_THROW(utf8FromWide(std::wstring(1, static_cast<wchar_t>(0xD800))), std::invalid_argument);
}

TEST(WideText, LettersThatACodePageLacksAreRefusedAndNotReplaced) {
  EXPECT_EQ(codePageFromWide(L"\u00FC", 1252), "\xFC");
  EXPECT_EQ(wideFromCodePage("\xFC", 1252), L"\u00FC");
  EXPECT_THROW(codePageFromWide(L"\u6570", 1252), std::invalid_argument);
  EXPECT_THROW(codePageFromWide(L"a", 64999), std::invalid_argument);
}
