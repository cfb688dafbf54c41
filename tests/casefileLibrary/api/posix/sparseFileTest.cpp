// Sparse files of the system, of a terabyte. Where its file system keeps no holes, reading the zeros would take hours.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
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

  static std::int64_t roomOf(const std::string& name) {
    struct stat status {};
    EXPECT_EQ(::stat(name.c_str(), &status), 0);
    return std::int64_t{status.st_blocks} * 512;
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

// Neither the search for the case data nor the one behind them, nor the journal's, reads the hole in front of them.
TEST_F(SparseFilesOfTheSystem, AreAppendedToInNoTime) {
  const Image image = Image::of(kTerabyte / 2, {1000});
  makeSparse(file_, image.row0, support::encoded(image.heading) + image.blocks.front() + image.table());
  std::filesystem::resize_file(file_, static_cast<std::uintmax_t>(image.heading._infoPos + image.heading._size));
  casefile::Appender appender = casefile::Appender::open(file_);
  appender.write(std::as_bytes(std::span("more", 4)));
  appender.finish();
  EXPECT_TRUE(casefile::verify(file_).sound());
  EXPECT_EQ(casefile::Reader::open(file_).size(), image.end() + 4);
  EXPECT_LE(roomOf(file_), std::int64_t{1} << 20);
}

// Half of it is a hole in the dictionary part, which the output has, too.
TEST_F(SparseFilesOfTheSystem, AreRescuedAsSparseFiles) {
  const Image image = Image::of(kTerabyte / 2, {1000});
  makeSparse(file_, image.row0, support::encoded(image.heading) + image.blocks.front());
  const std::string out = folder_.path("out");
  const auto told = casefile::recover(file_, out);
  EXPECT_EQ(told.row0, image.row0);
  EXPECT_EQ(told.caseBytes, 1000);
  EXPECT_TRUE(casefile::verify(out).sound());
  EXPECT_LE(roomOf(out), std::int64_t{1} << 20);

  casefile::RecoverOptions partial;
  partial.partial = true;
  partial.replace = true;
  casefile::recover(file_, out, partial);
  EXPECT_LE(roomOf(out), std::int64_t{1} << 20);
  EXPECT_EQ(casefile::openFile(out)->size(), image.row0 + 1000);
}

}  // namespace
