// Files by their names, some of which are cut while they are open, which Windows allows nobody.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <utility>

#include "../../support/sources.h"
#include "casefile/appender.h"
#include "casefile/error.h"
#include "casefile/reader.h"
#include "support/compressedImage.h"
#include "support/testFolder.h"

namespace {

using casefile::Appender;
using casefile::Error;
using casefile::ErrorKind;
using support::errorOf;
using testing::HasSubstr;

constexpr int64 kRow0 = 100;

class NamedFile : public testing::Test {
 protected:
  void cutTo(std::size_t length) { std::filesystem::resize_file(file_, length); }

  support::TestFolder folder_;
  const std::string file_ = folder_.writePlain("file", support::Image::of(kRow0, {1000}).bytes());
};

TEST_F(NamedFile, ThatIsCutTellsAnAppenderThatReads) {
  Appender appender = Appender::open(file_);
  cutTo(50);
  std::string bytes(100, '?');
  const Error error = errorOf([&] { appender.readAt(support::writable(bytes), 0); });
  EXPECT_EQ(error.kind(), ErrorKind::damaged);
  EXPECT_THAT(error.what(), HasSubstr("became shorter while it was read"));
}

TEST_F(NamedFile, ThatIsCutIsNotAppendedTo) {
  for (const std::size_t length : {std::size_t{10}, std::size_t{kRow0 + 30}}) {
    folder_.writePlain("file", support::Image::of(kRow0, {1000}).bytes());
    {
      Appender appender = Appender::open(file_);
      cutTo(length);
      EXPECT_EQ(errorOf([&] {
                  appender.write(std::as_bytes(std::span("more", 4)));
                  appender.finish();
                }).kind(),
                ErrorKind::damaged);
    }
    EXPECT_EQ(std::filesystem::file_size(file_), length);
    EXPECT_FALSE(folder_.exists("file.journal"));
  }
}

TEST_F(NamedFile, ThatIsDamagedTellsOfNoAppendWhereThereIsNone) {
  support::Image image = support::Image::of(kRow0, {1000});
  image.records[0].translateSize = -1;
  folder_.writePlain("file", image.bytes());
  casefile::ReaderOptions place;
  place.row0 = kRow0;
  const Error error = errorOf([&] { casefile::Reader::open(file_, place); });
  EXPECT_EQ(error.kind(), ErrorKind::damaged);
  EXPECT_THAT(error.what(), testing::Not(HasSubstr("an append")));
}

TEST_F(NamedFile, IsStillAppendedToWhenTheEmptyAppenderIsCancelled) {
  Appender appender = Appender::open(file_);
  const Appender taken = std::move(appender);
  appender.cancel();  // NOLINT: what a moved-from appender does
  EXPECT_EQ(taken.row0(), kRow0);
}

}  // namespace
