// Plain files that are made of compressed ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "../support/damagedFiles.h"
#include "../support/sources.h"
#include "casefile/error.h"
#include "casefile/reader.h"
#include "casefile/unpack.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using casefile::ErrorKind;
using casefile::Next;
using casefile::Phase;
using casefile::Progress;
using casefile::Reader;
using casefile::unpack;
using casefile::UnpackOptions;
using std::filesystem::perms;
using support::errorOf;
using support::Image;
using support::kBlock;
using testing::ElementsAre;

constexpr int64 kRow0 = 1000;

class UnpackTest : public testing::TestWithParam<std::size_t> {
 protected:
  Reader open(const std::string& name) const {
    casefile::ReaderOptions options;
    options.threads = GetParam();
    return Reader::open(folder_.path(name), options);
  }

  std::string plain() const {
    return support::dictionaryBytes(kRow0) + support::caseBytes(kRow0, static_cast<std::size_t>(image_.end() - kRow0));
  }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.folder())) {
      found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  Image image_ = Image::of(kRow0, {kBlock, kBlock, 300});
  support::Deadline deadline_{"UnpackTest"};
  support::TestFolder folder_;
  const std::string file_ = folder_.writePlain("file", image_.bytes());
  const std::string output_ = folder_.path("output");
};

TEST_P(UnpackTest, MakesThePlainFileAgain) {
  unpack(open("file"), output_);
  EXPECT_EQ(folder_.readWhole("output"), plain());
  EXPECT_THAT(names(), ElementsAre("file", "output"));
}

TEST_P(UnpackTest, TellsHowFarItIsAndThenThatItFinishes) {
  std::vector<std::pair<Phase, int64>> told;
  UnpackOptions options;
  options.progress = [&](const Progress& now) {
    EXPECT_EQ(now.bytesInAll, image_.end());
    told.emplace_back(now.phase, now.bytesDone);
    return Next::proceed;
  };
  unpack(open("file"), output_, options);
  ASSERT_GE(told.size(), 4U);
  EXPECT_EQ(told[told.size() - 2], std::pair(Phase::reading, image_.end()));
  EXPECT_EQ(told.back(), std::pair(Phase::finishing, image_.end()));
}

TEST_P(UnpackTest, StopsWhenTheProgramSaysSoAndLeavesWhatWasThere) {
  folder_.writePlain("output", "old");
  int calls = 0;
  UnpackOptions counting;
  counting.progress = [&calls](const Progress&) {
    ++calls;
    return Next::proceed;
  };
  unpack(open("file"), folder_.path("counted"), counting);
  std::filesystem::remove(folder_.folder() / "counted");
  for (int stopAt = 1; stopAt <= calls; ++stopAt) {
    UnpackOptions options;
    options.progress = [told = 0, stopAt](const Progress&) mutable {
      return ++told < stopAt ? Next::proceed : Next::stop;
    };
    EXPECT_EQ(errorOf([&] { unpack(open("file"), output_, options); }).kind(), ErrorKind::cancelled) << stopAt;
    EXPECT_EQ(folder_.readWhole("output"), "old");
    EXPECT_THAT(names(), ElementsAre("file", "output"));
  }
}

TEST_P(UnpackTest, ADamagedBlockIsAnErrorThatLeavesNothing) {
  image_.blocks[1][100] ^= 1;
  folder_.writePlain("file", image_.bytes());
  EXPECT_EQ(errorOf([&] { unpack(open("file"), output_); }).kind(), ErrorKind::damaged);
  EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_P(UnpackTest, ReplacesAFileOnlyWhereItMay) {
  folder_.writePlain("output", "old");
  UnpackOptions options;
  options.replace = false;
  EXPECT_EQ(errorOf([&] { unpack(open("file"), output_, options); }).kind(), ErrorKind::system);
  EXPECT_EQ(folder_.readWhole("output"), "old");
  options.replace = true;
  unpack(open("file"), output_, options);
  EXPECT_EQ(folder_.readWhole("output"), plain());
}

TEST_P(UnpackTest, NeverReplacesTheFileThatIsRead) {
  const auto error = errorOf([&] { unpack(open("file"), file_); });
  EXPECT_EQ(error.kind(), ErrorKind::usage);
  EXPECT_EQ(error.what(), file_ + ": is the input, which is never changed");
  EXPECT_EQ(folder_.readWhole("file"), image_.bytes());
}

TEST_P(UnpackTest, TheOutputHasTheTimesAndNoWiderRightsOfTheFileUnlessToldOtherwise) {
  const auto file = folder_.folder() / "file";
  const auto then = std::filesystem::last_write_time(file) - std::chrono::hours(50);
  std::filesystem::last_write_time(file, then);
  std::filesystem::permissions(file, perms::owner_read | perms::owner_write);
  unpack(open("file"), output_);
  const auto output = folder_.folder() / "output";
  EXPECT_EQ(std::filesystem::last_write_time(output), then);
  EXPECT_EQ(std::filesystem::status(output).permissions(), std::filesystem::status(file).permissions());
  std::filesystem::remove(output);
  UnpackOptions options;
  options.preserve = false;
  unpack(open("file"), output_, options);
  EXPECT_GT(std::filesystem::last_write_time(output), then + std::chrono::hours(1));
}

INSTANTIATE_TEST_SUITE_P(Threads, UnpackTest, testing::Values(1, 3));

TEST(Unpack, WhatIsReadNeedNotBeAFileOfTheSystem) {
  const support::TestFolder folder;
  const auto source = std::make_shared<support::ScriptedSource>(Image::of(kRow0, {300}).bytes());
  const Reader reader = Reader::open(source);
  EXPECT_EQ(reader.file(), source);
  unpack(reader, folder.path("output"));
  EXPECT_EQ(folder.readWhole("output"), support::dictionaryBytes(kRow0) + support::caseBytes(kRow0, 300));
}

TEST(Unpack, ANameThatNoFileCanHaveIsWrongUse) {
  const Reader reader = Reader::open(std::make_shared<support::ScriptedSource>(Image::of(kRow0, {300}).bytes()));
  EXPECT_EQ(errorOf([&] { unpack(reader, ""); }).kind(), ErrorKind::usage);
}

}  // namespace
