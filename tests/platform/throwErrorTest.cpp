#include <Datasource/platform/throwError.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

/// The error that StringSys raises while errno is `systemError`.
StringSysError raised(long number, const char* text, int systemError, const char* catalogue = "strmcat.err") {
  try {
    errno = systemError;
    ThrowError::StringSys(catalogue, number, text);
  } catch (const StringSysError& error) {
    return error;
  }
}

}  // namespace

TEST(StringSys, MessageOf1002SaysThatWritingFailed) {
  EXPECT_EQ(std::string(raised(1002, "data/case.z", ENOSPC).what()),
            "strmcat.err 1002: writing \"data/case.z\" failed: No space left on device");
}

TEST(StringSys, MessageOf1003SaysThatReadingFailed) {
  EXPECT_EQ(std::string(raised(1003, "a b", EBADF).what()),
            "strmcat.err 1003: reading \"a b\" failed: Bad file descriptor");
}

TEST(StringSys, MessageOfAnotherNumberKeepsTheForm) {
  EXPECT_EQ(std::string(raised(7, "x", ENOENT).what()),
            "strmcat.err 7: an operation on \"x\" failed: No such file or directory");
}

TEST(StringSys, MessageWithoutASystemErrorEndsAfterFailed) {
  EXPECT_EQ(std::string(raised(1003, "x", 0).what()), "strmcat.err 1003: reading \"x\" failed");
}

TEST(StringSys, UnknownSystemErrorIsStillNamed) {
  EXPECT_NE(std::string(raised(1003, "x", 98765).what()).find("98765"), std::string::npos);
}

TEST(StringSys, MissingTextsCountAsEmpty) {
  const StringSysError error = raised(1002, nullptr, EIO, nullptr);
  EXPECT_EQ(error.catalogue(), "");
  EXPECT_EQ(error.text(), "");
}

TEST(StringSys, FieldsRepeatTheArgumentsAndErrno) {
  const StringSysError error = raised(1002, "name", EDOM);
  EXPECT_EQ(error.catalogue(), "strmcat.err");
  EXPECT_EQ(error.number(), 1002);
  EXPECT_EQ(error.text(), "name");
  EXPECT_EQ(error.systemError(), EDOM);
}

TEST(StringSys, ErrorIsCaughtAsARuntimeError) {
  EXPECT_THROW(ThrowError::StringSys("strmcat.err", 1002, "x"), std::runtime_error);
}

TEST(StringSys, ErrorOutlivesTheTextsItWasMadeFrom) {
  auto text = std::make_unique<std::string>("a name of more than sixteen letters");
  const StringSysError error = raised(1003, text->c_str(), EIO);
  text.reset();
  EXPECT_EQ(error.text(), "a name of more than sixteen letters");
}

TEST(StringSys, CopiesDoNotThrowAndShareTheirTexts) {
  static_assert(std::is_nothrow_copy_constructible_v<StringSysError>);
  static_assert(std::is_nothrow_copy_assignable_v<StringSysError>);
  const StringSysError error = raised(1002, "name", EIO);
  const StringSysError copy(error);
  EXPECT_EQ(&copy.text(), &error.text());
  EXPECT_STREQ(copy.what(), error.what());
}

TEST(StringSys, ThreadsMayRaiseAtTheSameTime) {
  std::vector<std::thread> threads;
  for (const int systemError : {ENOSPC, EIO, EBADF, 70001}) {
    threads.emplace_back([systemError] {
      const std::string expected = raised(1002, "x", systemError).what();
      for (int i = 0; i < 500; ++i) {
        EXPECT_EQ(raised(1002, "x", systemError).what(), expected);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}
