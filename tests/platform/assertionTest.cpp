#include <Datasource/platform/assertion.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using datasource::platform::AssertionHandler;
using datasource::platform::reportAssertion;
using datasource::platform::setAssertionHandler;

namespace {

std::wstring lastExpression;
std::wstring lastFile;
unsigned int lastLine = 0;

void note(const wchar_t* expression, const wchar_t* file, unsigned int line) {
  lastExpression = expression;
  lastFile = file;
  lastLine = line;
}

[[noreturn]] void throwOut(const wchar_t* /*expression*/, const wchar_t* /*file*/, unsigned int /*line*/) {
  throw std::domain_error("asserted");
}

/// Puts a handler in force for one test.
class Handler {
 public:
  explicit Handler(AssertionHandler handler) : before_(setAssertionHandler(handler)) {}
  ~Handler() { setAssertionHandler(before_); }
  Handler(const Handler&) = delete;
  Handler& operator=(const Handler&) = delete;

 private:
  AssertionHandler before_;
};

}  // namespace

TEST(Assertion, HandlerReceivesExpressionFileAndLine) {
  const Handler handler(note);
  DATASOURCE_ASSERT_LINE(1 > 2, "1 > 2 && \"no\"", L"Datasource/src/file", 78);
  EXPECT_EQ(lastExpression, L"1 > 2 && \"no\"");
  EXPECT_EQ(lastFile, L"Datasource/src/file");
  EXPECT_EQ(lastLine, 78U);
}

TEST(Assertion, ProgramGoesOnWhenTheHandlerReturns) {
  const Handler handler(note);
  EXPECT_FALSE(DATASOURCE_ASSERT(false, "false", L"f"));
}

TEST(Assertion, ConditionThatHoldsReportsNothing) {
  const Handler handler(throwOut);
  EXPECT_TRUE(DATASOURCE_ASSERT(true, "true", L"f"));
}

TEST(Assertion, HandlerMayThrow) {
  const Handler handler(throwOut);
  EXPECT_THROW(static_cast<void>(DATASOURCE_ASSERT(false, "false", L"f")), std::domain_error);
}

TEST(Assertion, LineIsThatOfTheCheckWhenNoneIsGiven) {
  const Handler handler(note);
  DATASOURCE_ASSERT(false, "false", L"f");
  EXPECT_EQ(lastLine, static_cast<unsigned int>(__LINE__ - 1));
}

TEST(Assertion, SettingAHandlerGivesBackTheOneBefore) {
  EXPECT_EQ(setAssertionHandler(note), nullptr);
  EXPECT_EQ(setAssertionHandler(throwOut), note);
  EXPECT_EQ(setAssertionHandler(nullptr), throwOut);
  EXPECT_EQ(setAssertionHandler(nullptr), nullptr);
}

TEST(AssertionDeathTest, DefaultPrintsTheReportAndAborts) {
  EXPECT_DEATH(reportAssertion(L"0 && \"can't copy an VORN_File\"", L"Datasource/src/file", 12),
               "Assertion failed: 0 && \"can't copy an VORN_File\", file Datasource/src/file, line 12");
}

TEST(AssertionDeathTest, NullHandlerRestoresTheDefault) {
  const Handler handler(note);
  EXPECT_DEATH(
      {
        setAssertionHandler(nullptr);
        reportAssertion(L"restored", L"f", 1);
      },
      "Assertion failed: restored, file f, line 1");
}
