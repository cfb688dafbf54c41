#include <Datasource/platform/extNameStr.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

ExtNameStr named(const std::string& generic) {
  ExtNameStr name;
  name.SetGeneric(generic);
  return name;
}

}  // namespace

TEST(ExtNameStr, StartsEmpty) {
  const ExtNameStr name;
  EXPECT_TRUE(name.IsEmpty());
  EXPECT_EQ(name.GetGeneric(), "");
}

TEST(ExtNameStr, GenericFormIsKeptAsGiven) {
  EXPECT_EQ(named("a/b \xC3\xBC.z").GetGeneric(), "a/b \xC3\xBC.z");
  EXPECT_FALSE(named("a").IsEmpty());
}

TEST(ExtNameStr, GenericFormIsAReferenceIntoTheObject) {
  const ExtNameStr name = named("a name of more than sixteen letters");
  EXPECT_EQ(name.GetGeneric().c_str(), name.GetGeneric().c_str());
}

TEST(ExtNameStr, EqualsByGenericForm) {
  EXPECT_TRUE(named("a/b") == named("a/b"));
  EXPECT_FALSE(named("a/b") == named("a/B"));
}

TEST(ExtNameStr, Utf8FormLeadsToTheGenericForm) {
  ExtNameStr name;
  name.SetU8("a/\xE2\x82\xAC");
  EXPECT_EQ(name.GetGeneric(), "a/\xE2\x82\xAC");
}

TEST(ExtNameStrCodePage, BytesBecomeUtf8AndBytesAgain) {
  ExtNameStr name;
  name.SetCodePage("gr\xFC\xDF \x80", 1252);
  EXPECT_EQ(name.GetGeneric(), "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC");
  EXPECT_EQ(name.GetCodePage(1252), "gr\xFC\xDF \x80");
}

TEST(ExtNameStrCodePage, SecondByteOfALetterIsNoSlash) {
  ExtNameStr name;
  name.SetCodePage("\x83\x5C", 932);  // one letter, whose second byte is that of a backslash
  EXPECT_EQ(name.GetGeneric(), "\xE3\x82\xBD");
  EXPECT_EQ(name.GetCodePage(932), "\x83\x5C");
}

TEST(ExtNameStrCodePage, Utf8IsOneOfThem) {
  ExtNameStr name;
  name.SetCodePage("\xE2\x82\xAC", 65001);
  EXPECT_EQ(name.GetGeneric(), "\xE2\x82\xAC");
  EXPECT_EQ(name.GetCodePage(65001), "\xE2\x82\xAC");
}

TEST(ExtNameStrCodePage, LongNamesConvertWhole) {
  std::string bytes;
  std::string text;
  for (int i = 0; i < 5000; ++i) {
    bytes += i % 3 == 0 ? "\x80" : "a";
    text += i % 3 == 0 ? "\xE2\x82\xAC" : "a";
  }
  ExtNameStr name;
  name.SetCodePage(bytes, 1252);
  EXPECT_EQ(name.GetGeneric(), text);
  EXPECT_EQ(name.GetCodePage(1252), bytes);
}

TEST(ExtNameStrCodePage, EmptyNameConverts) {
  ExtNameStr name = named("a");
  name.SetCodePage("", 1252);
  EXPECT_TRUE(name.IsEmpty());
  EXPECT_EQ(name.GetCodePage(1252), "");
}

TEST(ExtNameStrCodePage, UnknownOneRaisesAndLeavesTheName) {
  ExtNameStr name = named("before");
  EXPECT_THROW(name.SetCodePage("after", 64999), std::invalid_argument);
  EXPECT_EQ(name.GetGeneric(), "before");
  EXPECT_THROW(static_cast<void>(name.GetCodePage(64999)), std::invalid_argument);
}

TEST(ExtNameStrCodePage, BytesThatAreNoTextRaiseAndLeaveTheName) {
  ExtNameStr name = named("before");
  EXPECT_THROW(name.SetCodePage("\xC3(", 65001), std::invalid_argument);
  EXPECT_THROW(name.SetCodePage("cut \xE2\x82", 65001), std::invalid_argument);
  EXPECT_EQ(name.GetGeneric(), "before");
}

TEST(ExtNameStrCodePage, LettersThatItLacksRaise) {
  EXPECT_THROW(static_cast<void>(named("\xE3\x82\xBD").GetCodePage(1252)), std::invalid_argument);
}

TEST(ExtNameStrCodePage, AsciiIsAsciiInTheProcessesOwn) {
  ExtNameStr name;
  name.SetCodePage("plain.z");
  EXPECT_EQ(name.GetGeneric(), "plain.z");
  EXPECT_EQ(name.GetCodePage(), "plain.z");
}
