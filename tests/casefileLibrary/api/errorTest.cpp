#include <gtest/gtest.h>

#include <cerrno>
#include <future>
#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>

#include "casefile/error.h"

namespace {

using casefile::Error;
using casefile::ErrorKind;

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

}  // namespace
