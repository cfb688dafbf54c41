#include <Datasource/platform/extNameStr.h>
#include <gtest/gtest.h>

#include <clocale>
#include <stdexcept>
#include <string>

namespace {

/// Puts a locale's character set in force for one test.
class Locale {
 public:
  explicit Locale(const char* name) : before_(std::setlocale(LC_CTYPE, nullptr)), known_(false) {
    known_ = std::setlocale(LC_CTYPE, name) != nullptr;
  }
  ~Locale() { std::setlocale(LC_CTYPE, before_.c_str()); }
  Locale(const Locale&) = delete;
  Locale& operator=(const Locale&) = delete;
  bool known() const { return known_; }

 private:
  std::string before_;
  bool known_;
};

}  // namespace

TEST(ExtNameStr, BackslashIsAnOrdinaryLetter) {
  ExtNameStr name;
  name.SetGeneric("a\\b/c");
  EXPECT_EQ(name.GetGeneric(), "a\\b/c");
  name.SetU8("d\\e/f");
  EXPECT_EQ(name.GetGeneric(), "d\\e/f");
  EXPECT_EQ(name.GetU8(), "d\\e/f");
}

TEST(ExtNameStr, NamesThatAreNoTextAreKeptByteForByte) {
  ExtNameStr name;
  name.SetU8("\xFF\xFE");
  EXPECT_EQ(name.GetU8(), "\xFF\xFE");
  EXPECT_THROW(static_cast<void>(name.GetCodePage(65001)), std::invalid_argument);
}

TEST(ExtNameStrCodePage, ZeroIsTheLocalesCharacterSet) {
  ExtNameStr name;
  {
    const Locale locale("C.UTF-8");
    ASSERT_TRUE(locale.known());
    name.SetCodePage("\xE2\x82\xAC");
    EXPECT_EQ(name.GetGeneric(), "\xE2\x82\xAC");
  }
  const Locale locale("C");
  ASSERT_TRUE(locale.known());
  EXPECT_THROW(name.SetCodePage("\xE2\x82\xAC"), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(name.GetCodePage()), std::invalid_argument);
}

TEST(ExtNameStrCodePage, NumbersOfStandardSetsAreKnown) {
  ExtNameStr name;
  name.SetCodePage("\xA4", 28605);
  EXPECT_EQ(name.GetGeneric(), "\xE2\x82\xAC");
  EXPECT_THROW(name.SetCodePage("\xA4", 20127), std::invalid_argument);
}
