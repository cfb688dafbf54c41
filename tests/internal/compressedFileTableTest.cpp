#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/compressedHostileTest.h"

// Tables whose records cannot be, and damaged blocks.

namespace {

using support::Image;
using support::kBlock;
using support::kCorruptBlock;
using support::kRow0;

class HostileTable : public support::HostileTest {
 protected:
  const Image sound = Image::of(kRow0, {1000, 2000, 500});

  /// A file like the sound one, with its records bent.
  void bend(const std::function<void(std::vector<bInfo>&)>& change) {
    Image image = sound;
    change(image.records);
    makeFile("f", image);
  }
  void expectReportOrDataWith(const std::function<void(std::vector<bInfo>&)>& change) {
    bend(change);
    expectReportOrData("f", sound);
    appendTo("f", sound);
  }
};

TEST_F(HostileTable, CompressedSizesThatCannotBeAreReported) {
  for (const std::size_t which : {0U, 1U, 2U}) {
    for (const std::int32_t size : {0, -1, INT32_MIN, INT32_MAX, 0x3FF001, 1, 10}) {
      SCOPED_TRACE(std::to_string(which) + ": " + std::to_string(size));
      expectReportOrDataWith([&](auto& records) { records[which].translateSize = size; });
    }
  }
}

TEST_F(HostileTable, PlainSizesThatCannotBeAreReported) {
  for (const std::size_t which : {0U, 1U, 2U}) {
    for (const std::int32_t size : {-1, INT32_MIN, INT32_MAX, 0x3FF001, 0x3FF000, 1, 499}) {
      SCOPED_TRACE(std::to_string(which) + ": " + std::to_string(size));
      expectReportOrDataWith([&](auto& records) { records[which].orginalSize = size; });
    }
  }
}

TEST_F(HostileTable, BlocksOfNoBytesAreReported) {
  for (const std::size_t which : {0U, 1U, 2U}) {
    SCOPED_TRACE(which);
    expectReportOrDataWith([&](auto& records) { records[which].orginalSize = 0; });
  }
}

TEST_F(HostileTable, FilePositionsThatCannotBeAreReported) {
  for (const int64 place : {INT64_MAX, INT64_MAX - 10, INT64_MIN, int64{-1}, int64{0}, int64{1} << 40}) {
    SCOPED_TRACE(place);
    expectReportOrDataWith([&](auto& records) { records[1].translatePos = place; });
  }
}

TEST_F(HostileTable, OverlappingRecordsAreReported) {
  expectReportOrDataWith([](auto& records) { records[1].orginalPos -= 100; });
  expectReportOrDataWith([](auto& records) { records[2].orginalPos = records[0].orginalPos; });
}

TEST_F(HostileTable, GapsBetweenRecordsAreReported) {
  expectReportOrDataWith([](auto& records) { records[1].orginalPos += 100; });
  expectReportOrDataWith([](auto& records) { records[2].orginalPos += 1; });
  expectReportOrDataWith([](auto& records) { records[2].orginalPos = INT64_MAX - 500; });
}

TEST_F(HostileTable, UnorderedRecordsAreReportedOrRead) {
  expectReportOrDataWith([](auto& records) { std::swap(records[0], records[1]); });
  expectReportOrDataWith([](auto& records) { std::swap(records[0], records[2]); });
  expectReportOrDataWith([](auto& records) { std::swap(records[1], records[2]); });
}

TEST_F(HostileTable, FirstBlockElsewhereThanAtTheRowNoughtPositionIsReported) {
  for (const int64 place : {int64{0}, int64{-1}, INT64_MIN, kRow0 - 1, kRow0 + 1}) {
    SCOPED_TRACE(place);
    expectReportOrDataWith([&](auto& records) { records[0].orginalPos = place; });
  }
}

TEST_F(HostileTable, CountBelowTheTableIsReported) {
  for (const std::int32_t count : {0, 1, 2}) {
    SCOPED_TRACE(count);
    Image image = sound;
    image.tableHead.translateSize = count;
    makeFile("f", image);
    expectReportOrData("f", sound);
  }
}

class HostileBlock : public support::HostileTest {
 protected:
  /// Damages one byte of a block's compressed bytes.
  static void damage(Image& image, std::size_t block, std::size_t at, unsigned char change = 0x10) {
    char& byte = image.blocks[block].at(at);
    byte = static_cast<char>(byte ^ change);
  }
};

TEST_F(HostileBlock, EveryChangedByteOfABlockIsReportedAndNeverDelivered) {
  const Image sound = Image::of(kRow0, {700, 600});
  for (std::size_t block = 0; block < 2; ++block) {
    for (std::size_t at = 0; at < sound.blocks[block].size(); ++at) {
      SCOPED_TRACE("block " + std::to_string(block) + ", byte " + std::to_string(at));
      Image image = sound;
      damage(image, block, at);
      makeFile("f", image);
      expectReportOrData("f", sound);
    }
  }
}

TEST_F(HostileBlock, DamageThatKeepsTheLengthIsReportedAsACorruptBlock) {
  const Image sound = Image::of(kRow0, {700, 600});
  for (std::size_t block = 0; block < 2; ++block) {
    Image image = sound;
    damage(image, block, image.blocks[block].size() - 1, 1);
    makeFile("f", image);
    expectReport("f", sound, kCorruptBlock);
  }
}

TEST_F(HostileBlock, DamageInAWholeBlockIsReportedAndTheOtherBlocksAreDelivered) {
  Image image = Image::of(kRow0, {kBlock, kBlock, 600});
  damage(image, 1, image.blocks[1].size() / 2);
  makeFile("f", image);
  for (const int mode : {0, 1, 2, 3}) {
    SCOPED_TRACE(mode);
    const Outcome outcome = readBlocks("f", image, mode, false);
    EXPECT_FALSE(outcome.allDelivered);
    EXPECT_FALSE(outcome.reports.empty());
    const auto stream = support::startReading(folder.path("f"), mode);
    EXPECT_EQ(support::readAt(*stream, image.records[1].orginalPos, 100), "");
    EXPECT_THAT(assertions.takeTexts(), testing::Not(testing::IsEmpty()));
    EXPECT_EQ(support::readAt(*stream, image.records[2].orginalPos, 100),
              support::caseBytes(image.records[2].orginalPos, 100));
    EXPECT_EQ(support::readAt(*stream, kRow0, 100), support::caseBytes(kRow0, 100));
  }
}

TEST_F(HostileBlock, ReadThatRunsIntoADamagedBlockDeliversWhatLiesBefore) {
  Image image = Image::of(kRow0, {kBlock, 600});
  damage(image, 1, 5);
  makeFile("f", image);
  for (const int mode : {0, 2}) {
    const auto stream = support::startReading(folder.path("f"), mode);
    const int64 place = kRow0 + support::kBlockLength - 50;
    EXPECT_EQ(support::readAt(*stream, place, 100), support::caseBytes(place, 50));
    EXPECT_THAT(assertions.takeTexts(), testing::Not(testing::IsEmpty()));
    EXPECT_EQ(support::readAt(*stream, kRow0, 100), support::caseBytes(kRow0, 100));
  }
}

TEST_F(HostileBlock, BytesThatAreNoZlibStreamAreReportedWithTheCodecsText) {
  Image image = Image::of(kRow0, {700});
  image.blocks[0].assign(image.blocks[0].size(), 'x');
  makeFile("f", image);
  expectReport("f", image, "ret!= 0");
}

TEST_F(HostileBlock, FullLengthWithAWrongCountIsReportedByTheStream) {
  Image image = Image::of(kRow0, {700});
  image.records[0].orginalSize = 699;
  makeFile("f", image);
  const auto stream = support::startReading(folder.path("f"));
  EXPECT_EQ(support::readOnce(*stream, 100), "");
  const auto reports = assertions.take();
  ASSERT_FALSE(reports.empty());
  EXPECT_EQ(reports[0].expression, "0");
  EXPECT_EQ(reports[0].file, support::kStreamSource);
}

TEST_F(HostileBlock, LengthBelowTheBlockIsReportedByTheWorkerAsDamage) {
  Image image = Image::of(kRow0, {700});
  image.records[0].orginalSize = 699;
  makeFile("f", image);
  const auto stream = support::startReading(folder.path("f"), 2);
  EXPECT_EQ(support::readOnce(*stream, 100), "");
  const auto reports = assertions.take();
  ASSERT_FALSE(reports.empty());
  // The recorded length is all the room that the worker gives the block, so it is the stream's end that is missing.
  EXPECT_EQ(reports[0].expression, "verdict == Z_STREAM_END && \"Corrupt compressed block!\"");
  EXPECT_EQ(reports[0].file, support::kWorkerSource);
}

TEST_F(HostileBlock, WrongCountIsReportedByTheWorkerWithItsOwnText) {
  Image image = Image::of(kRow0, {700});
  image.records[0].orginalSize = 701;
  makeFile("f", image);
  const auto stream = support::startReading(folder.path("f"), 2);
  EXPECT_EQ(support::readOnce(*stream, 100), "");
  const auto reports = assertions.take();
  ASSERT_FALSE(reports.empty());
  EXPECT_EQ(reports[0].expression, "outCount == bInfo.orginalSize");
  EXPECT_EQ(reports[0].file, support::kWorkerSource);
}

TEST_F(HostileBlock, BlockThatUnpacksToFarMoreThanABlockStaysInsideTheBuffer) {
  Image image = Image::of(kRow0, {kBlock});
  image.blocks[0] = support::zipped(std::string(20'000'000, 'z'));
  image.records[0].translateSize = static_cast<std::int32_t>(image.blocks[0].size());
  image.heading._infoPos = kRow0 + 24 + image.records[0].translateSize;
  makeFile("f", image);
  expectReport("f", image, kCorruptBlock);
}

TEST_F(HostileBlock, FileCutWhileItIsReadIsReportedAndNoStaleBytesAreDelivered) {
  probe.letOthersWrite();
  const Image image = Image::of(kRow0, {kBlock, kBlock});
  for (const int mode : {0, 2}) {
    makeFile("f", image);
    const auto stream = support::startReading(folder.path("f"), mode);
    EXPECT_EQ(support::readAt(*stream, kRow0, 100), support::caseBytes(kRow0, 100));
    stream->Close();  // what was fetched ahead is gone
    folder.truncateTo("f", image.records[1].translatePos + image.records[1].translateSize / 2);
    EXPECT_EQ(support::readAt(*stream, image.records[1].orginalPos, 100), "");
    EXPECT_THAT(assertions.takeTexts(), testing::Not(testing::IsEmpty()));
  }
}

}  // namespace
