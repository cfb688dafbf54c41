#include <Datasource/platform/assertion.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdio>
#include <cwchar>

using datasource::platform::reportAssertion;

TEST(AssertionReportDeathTest, EndsByAbort) {
  EXPECT_EXIT(reportAssertion(L"x", L"f", 1), testing::KilledBySignal(SIGABRT), "Assertion failed: x, file f, line 1");
}

TEST(AssertionReportDeathTest, WideLettersAreWrittenAsUtf8) {
  EXPECT_DEATH(reportAssertion(L"\u00FC \u20AC \U0001F600", L"f", 1),
               "Assertion failed: \xC3\xBC \xE2\x82\xAC \xF0\x9F\x98\x80, file f, line 1");
}

TEST(AssertionReportDeathTest, WideStandardErrorSwallowsNothing) {
  EXPECT_DEATH(
      {
        std::fwide(stderr, 1);
        reportAssertion(L"x", L"f", 1);
      },
      "Assertion failed: x, file f, line 1");
}
