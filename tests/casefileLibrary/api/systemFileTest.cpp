#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <system_error>

#include "casefile/error.h"
#include "casefile/randomAccessFile.h"
#include "support/testFolder.h"

namespace {

using casefile::ErrorKind;

casefile::Error errorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const casefile::Error& error) {
    return error;
  }
  return {ErrorKind::usage, "no error", {}};
}

class OpenFile : public testing::Test {
 protected:
  support::TestFolder folder_;
};

TEST_F(OpenFile, ReadsTheBytesAtAnyPosition) {
  const std::string name = folder_.writeDescribing("plain", 1000);
  const auto file = casefile::openFile(name);
  std::array<std::byte, 16> bytes{};
  EXPECT_EQ(file->size(), 1000);
  EXPECT_EQ(file->name(), name);
  EXPECT_EQ(file->readAt(bytes, 990), 10U);
  EXPECT_EQ(file->readAt(bytes, 1000), 0U);
  EXPECT_EQ(file->readAt(bytes, INT64_MAX - 5), 0U);
  EXPECT_EQ(file->readAt(bytes, INT64_MAX), 0U);
  EXPECT_EQ(file->readAt(bytes, 400), 16U);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes.data()), 16), support::selfDescribing(400, 16));
}

TEST_F(OpenFile, ThatIsNotThereIsNamedWithTheSystemsReason) {
  const std::string name = folder_.path("missing");
  const auto error = errorOf([&] { casefile::openFile(name); });
  EXPECT_EQ(error.kind(), ErrorKind::system);
  EXPECT_EQ(error.file(), name);
  // A DLL may have a standard library, and with it categories, of its own.
  EXPECT_EQ(error.code().value(), ENOENT);
  EXPECT_STREQ(error.code().category().name(), "generic");
  EXPECT_EQ(error.what(), name + ": cannot be opened: " + error.code().message());
}

TEST_F(OpenFile, AFolderIsAnError) {
  const auto error = errorOf([&] { casefile::openFile(folder_.folder().generic_string()); });
  EXPECT_NE(std::string(error.what()).find("cannot be opened"), std::string::npos);
}

TEST_F(OpenFile, ANameThatNoFileCanHaveIsWrongUse) {
  EXPECT_EQ(errorOf([] { casefile::openFile(""); }).kind(), ErrorKind::usage);
  EXPECT_EQ(errorOf([] { casefile::openFile(std::string("a\0b", 3)); }).kind(), ErrorKind::usage);
  EXPECT_STRNE(errorOf([] { casefile::openFile(""); }).what(), "no error");
}

TEST_F(OpenFile, ADescriptorThatIsNotOpenIsAnError) {
  const auto error = errorOf([] { casefile::fileFromDescriptor(-1, "nothing"); });
  EXPECT_EQ(error.kind(), ErrorKind::system);
  EXPECT_EQ(error.file(), "nothing");
}

}  // namespace
