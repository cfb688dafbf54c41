#include <Datasource/platform/throwError.h>
#include <gtest/gtest.h>

#include <exception>
#include <stdexcept>
#include <string>

using datasource::platform::reportLostError;
using datasource::platform::setLostErrorHandler;

namespace {

/// What the default handler prints, line ends made alike.
std::string printed(const char* where, const std::exception_ptr& error) {
  testing::internal::CaptureStderr();
  reportLostError(where, error);
  std::string text = testing::internal::GetCapturedStderr();
  std::erase(text, '\r');
  return text;
}

const std::exception_ptr broken = std::make_exception_ptr(std::runtime_error("broken"));

std::string received;
void receive(const char* where, const std::exception_ptr& error) {
  received = where;
  EXPECT_EQ(error, broken);
}

[[noreturn]] void throwOn(const char* /*where*/, const std::exception_ptr& error) { std::rethrow_exception(error); }

}  // namespace

TEST(LostError, DefaultPrintsOneLine) {
  EXPECT_EQ(printed("~VORN_File", broken), "Datasource: error lost in ~VORN_File: broken\n");
}

TEST(LostError, LineEndsInsideTheTextBecomeBlanks) {
  EXPECT_EQ(printed("a", std::make_exception_ptr(std::runtime_error("b\nc"))), "Datasource: error lost in a: b c\n");
}

TEST(LostError, DefaultDescribesWhatIsNoStandardException) {
  EXPECT_EQ(printed("a", std::make_exception_ptr(3)), "Datasource: error lost in a: an error of unknown type\n");
  EXPECT_EQ(printed(nullptr, nullptr), "Datasource: error lost in an unnamed place: no error given\n");
}

TEST(LostError, HandlerReceivesPlaceAndErrorInsteadOfThePrint) {
  ASSERT_EQ(setLostErrorHandler(receive), nullptr);
  EXPECT_EQ(printed("here", broken), "");
  EXPECT_EQ(received, "here");
  EXPECT_EQ(setLostErrorHandler(nullptr), receive);
  EXPECT_EQ(printed("here", broken), "Datasource: error lost in here: broken\n");
}

TEST(LostError, HandlerThatThrowsIsReplacedByThePrint) {
  setLostErrorHandler(throwOn);
  EXPECT_EQ(printed("here", broken), "Datasource: error lost in here: broken\n");
  setLostErrorHandler(nullptr);
}
