// What lies behind a file's end and shows that it is not all.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "../support/sources.h"
#include "check/layout.h"
#include "find/hiddenData.h"
#include "progressReport.h"
#include "sourceReader.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"

namespace casefile {
namespace {

using support::Image;
using testing::StartsWith;

constexpr int64 kRow0 = 10;

class HiddenDataBehind : public testing::Test {
 protected:
  /// What lies behind the file when its blocks are said to end at `blocksEnd`; nothing: empty words.
  HiddenData behind(const std::string& bytes, int64 blocksEnd) {
    SourceReader source(std::make_shared<support::ScriptedSource>(bytes));
    const Layout layout = readLayout(source, {kRow0, false}, report_);
    return hiddenData(source, layout, blocksEnd, report_).value_or(HiddenData{});
  }
  static std::string withoutMark(Image image) {
    ++image.tableHead.orginalPos;
    return image.bytes();
  }
  static int64 length(const std::string& bytes) { return static_cast<int64>(bytes.size()); }

  ProgressReport report_{{}, "f", "find"};
  const Image image_ = Image::of(kRow0, {1000, 500});
  const std::string sound_ = image_.bytes();
  const std::string block_ = support::zipped(support::caseBytes(0, support::kBlock));
};

TEST_F(HiddenDataBehind, ASoundTableLiesBehindTheTable) {
  const std::string other = Image::of(length(sound_) + 3, {700}).bytes().substr(sound_.size() + 3);
  const HiddenData found = behind(sound_ + "..." + other, kRow0);
  EXPECT_EQ(found.words,
            "is not all: behind its table lies a heading at row-0 position " + std::to_string(length(sound_) + 3));
  EXPECT_EQ(found.position, length(sound_) + 3);
  EXPECT_EQ(behind(sound_, kRow0).words, "");
}

TEST_F(HiddenDataBehind, ADamagedTableLiesBehindTheBlocks) {
  const std::string damaged = withoutMark(image_);
  const std::string other = Image::of(length(damaged) + 3, {700}).bytes().substr(damaged.size() + 3);
  EXPECT_THAT(behind(damaged + "..." + other, image_.heading._infoPos).words,
              StartsWith("is not all: behind its blocks lies a heading"));
  EXPECT_EQ(behind(damaged, image_.heading._infoPos).words, "");
  EXPECT_EQ(behind(damaged + "..." + block_, image_.heading._infoPos).words, "")
      << "whole blocks behind damage are the file's own";
}

TEST_F(HiddenDataBehind, TheFirstWholeBlockIsTold) {
  const HiddenData found = behind(sound_ + "..." + block_ + block_, kRow0);
  EXPECT_EQ(found.position, length(sound_) + 3);
  EXPECT_THAT(found.words, StartsWith("is not all: behind its table lies a whole block, at file position "));
}

TEST_F(HiddenDataBehind, NumbersAndMarksAloneAreNoHeading) {
  const std::string block = support::zipped(support::caseBytes(0, 700));
  EXPECT_EQ(behind(sound_ + support::encoded(compressionHeading{length(sound_), 1, 1}) + "more", kRow0).words, "");
  EXPECT_EQ(behind(sound_ + support::encoded(bInfo{-100, 0, 0x3FF000, 5}) + block, kRow0).words, "");
}

TEST_F(HiddenDataBehind, SignsThatOverlapAreBothLookedAt) {
  constexpr std::size_t kStart = 0x501;  // its number begins with the second byte of a zlib stream
  ASSERT_LT(sound_.size(), kStart);
  const std::string front = sound_ + std::string(kStart - 1 - sound_.size(), '.') + "\x78";
  const HiddenData found = behind(front + Image::of(kStart, {700}).bytes().substr(kStart), kRow0);
  EXPECT_EQ(found.position, static_cast<int64>(kStart));
}

}  // namespace
}  // namespace casefile
