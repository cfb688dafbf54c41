// Sparse files of the system, of a terabyte. Where its file system keeps no holes, reading the zeros would take hours.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "../../support/sources.h"
#include "casefile/casefile.h"
#include "support/compressedImage.h"
#include "support/testFolder.h"

namespace {

using casefile::ErrorKind;
using support::errorOf;
using support::Image;

constexpr std::int64_t kTerabyte = std::int64_t{1} << 40;

class SparseFilesOfTheSystem : public testing::Test {
 protected:
  void SetUp() override {
    makeSparse(file_, 0, "");
    const int descriptor = ::open(file_.c_str(), O_RDONLY | O_CLOEXEC);
    const bool keepsHoles = ::lseek(descriptor, 0, SEEK_DATA) < 0;
    ::close(descriptor);
    if (!keepsHoles) {
      GTEST_SKIP() << "this file system tells no holes";
    }
  }

  static void makeSparse(const std::string& name, std::int64_t position, const std::string& bytes) {
    const int descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    ASSERT_EQ(::ftruncate(descriptor, kTerabyte), 0);
    EXPECT_EQ(::pwrite(descriptor, bytes.data(), bytes.size(), position), static_cast<ssize_t>(bytes.size()));
    ::close(descriptor);
  }

  support::TestFolder folder_;
  const std::string file_ = folder_.path("file");
};

TEST_F(SparseFilesOfTheSystem, AreSearchedInNoTime) {
  EXPECT_EQ(errorOf([&] { casefile::inspect(file_); }).kind(), ErrorKind::notADataFile);
  EXPECT_EQ(errorOf([&] { casefile::recover(file_, folder_.path("out")); }).kind(), ErrorKind::notADataFile);
  makeSparse(file_, 0, Image::of(0, {1000}).bytes());
  EXPECT_TRUE(casefile::verify(file_).sound());
  EXPECT_EQ(casefile::Reader::open(file_).size(), 1000);
}

}  // namespace
