#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "../support/sources.h"
#include "casefile/error.h"
#include "casefile/inspect.h"
#include "casefile/reader.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"

namespace {

using casefile::ErrorKind;
using casefile::LogicalRange;
using casefile::Reader;
using casefile::ReaderOptions;
using support::errorOf;
using support::Image;
using support::kBlock;
using support::ScriptedSource;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int64 kRow0 = 1000;
constexpr std::size_t kWhole = kBlock;

ReaderOptions at(int64 row0, std::size_t threads = 2) {
  ReaderOptions options;
  options.row0 = row0;
  options.threads = threads;
  return options;
}

Reader open(const std::string& bytes, const ReaderOptions& options) {
  return Reader::open(std::make_shared<ScriptedSource>(bytes), options);
}

std::string readAt(const Reader& reader, int64 position, std::size_t count) {
  std::string bytes(count, '?');
  bytes.resize(reader.readAt(support::writable(bytes), position));
  return bytes;
}

std::string readRange(const Reader& reader, LogicalRange range) {
  std::string bytes;
  int64 next = range.start;
  reader.read(range, [&](std::span<const std::byte> piece, int64 position) {
    EXPECT_EQ(position, next);
    bytes += support::text(piece);
    next += static_cast<int64>(piece.size());
  });
  return bytes;
}

// What an uncompressed file would hold.
std::string plainFile(int64 row0, std::size_t caseBytes) {
  return support::dictionaryBytes(row0) + support::caseBytes(row0, caseBytes);
}

class ReaderOfSizes : public testing::TestWithParam<std::size_t> {
 protected:
  std::string plain_ = plainFile(kRow0, GetParam());
  Reader reader_ = open(support::imageBytes(kRow0, GetParam()), at(kRow0));
};

TEST_P(ReaderOfSizes, TellsWhereTheDataLie) {
  EXPECT_EQ(reader_.row0(), kRow0);
  EXPECT_EQ(reader_.size(), static_cast<int64>(plain_.size()));
  EXPECT_EQ(reader_.blockCount(), (GetParam() + kWhole - 1) / kWhole);
  EXPECT_FALSE(reader_.swapped());
  EXPECT_EQ(reader_.dictionary(), support::dictionaryBytes(kRow0));
  int64 next = kRow0;
  for (std::size_t i = 0; i < reader_.blockCount(); ++i) {
    EXPECT_EQ(reader_.block(i).range.start, next);
    next = reader_.block(i).range.end();
  }
  EXPECT_EQ(next, reader_.size());
}

TEST_P(ReaderOfSizes, ReadsAllAtOnceAndInOrder) {
  EXPECT_TRUE(readAt(reader_, 0, plain_.size() + 10) == plain_);
  EXPECT_TRUE(readRange(reader_, {0, std::numeric_limits<int64>::max()}) == plain_);
}

TEST_P(ReaderOfSizes, ReadsAnyRangeAsThePlainFileHasIt) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::minstd_rand random(seed);
  for (int i = 0; i < 30; ++i) {
    const auto start = random() % (plain_.size() + 20);
    const auto count = random() % (i % 5 == 0 ? plain_.size() : 700);
    const std::string expected = start < plain_.size() ? plain_.substr(start, count) : "";
    ASSERT_TRUE(readAt(reader_, static_cast<int64>(start), count) == expected) << start << ' ' << count;
    if (i % 5 == 0) {
      ASSERT_TRUE(readRange(reader_, {static_cast<int64>(start), static_cast<int64>(count)}) == expected);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Bytes, ReaderOfSizes, testing::Values(0, 1, kBlock - 1, kBlock, kBlock + 1, 3 * kBlock + 17));

TEST(ReaderPlace, AFileOfTheOtherByteOrderIsReadWithoutBeingTold) {
  Image image = Image::of(kRow0, {5000});
  image.swapped = true;
  const Reader reader = open(image.bytes(), at(kRow0));
  EXPECT_TRUE(reader.swapped());
  EXPECT_TRUE(readAt(reader, 0, 10000) == plainFile(kRow0, 5000));
}

// 0 reads the same in both orders: where the table lies tells them apart.
TEST(ReaderPlace, AtTheFilesStartAHeadingOfTheOtherByteOrderIsRead) {
  Image image = Image::of(0, {});
  image.swapped = true;
  image.heading._infoPos += 48;
  std::string bytes = image.bytes();
  bytes.insert(24, 48, '\0');
  const Reader reader = open(bytes, at(0));
  EXPECT_TRUE(reader.swapped());
  EXPECT_EQ(reader.size(), 0);
}

TEST(ReaderPlace, IsFoundWithoutBeingToldInEitherByteOrder) {
  for (const bool swapped : {false, true}) {
    for (const int64 row0 : {int64{1}, kRow0, int64{300'000}}) {
      Image image = Image::of(row0, {5000, 300});
      image.swapped = swapped;
      const Reader reader = open(image.bytes(), {});
      EXPECT_EQ(reader.row0(), row0);
      EXPECT_EQ(reader.swapped(), swapped);
      EXPECT_EQ(readAt(reader, 0, static_cast<std::size_t>(row0) + 10000), plainFile(row0, 5300));
    }
  }
}

TEST(ReaderPlace, ThatIsNotToBeFoundIsNoDataFile) {
  const auto error = errorOf([] { open(std::string(500'000, 'x'), {}); });
  EXPECT_EQ(error.kind(), ErrorKind::notADataFile);
  EXPECT_STREQ(error.what(), "scripted: is no compressed data file, or its heading is lost: no heading fits");
}

TEST(ReaderPlace, InAFileOfAnotherProgramIsNoneAndItsFormIsNamed) {
  const auto error = errorOf([] { open("\x1f\x8b\x08 and so on", {}); });
  EXPECT_EQ(error.kind(), ErrorKind::notADataFile);
  EXPECT_STREQ(error.what(), "scripted: is a gzip file, no compressed data file");
}

TEST(ReaderPlace, OfTwoFilesInOneIsNotGuessed) {
  const std::string first = Image::of(kRow0, {300}).bytes();
  const auto second = static_cast<int64>(first.size());
  const std::string both = first + Image::of(second, {400}).bytes().substr(first.size());
  const auto error = errorOf([&] { open(both, {}); });
  EXPECT_EQ(error.kind(), ErrorKind::notADataFile);
  EXPECT_THAT(error.what(), HasSubstr("more than one heading fits (1000, " + std::to_string(second) + ")"));
  EXPECT_EQ(open(both, at(second)).size(), second + 400);
}

TEST(ReaderPlace, OfTheByteOrderThatIsNotAllowedIsNotFound) {
  ReaderOptions other;
  other.byteOrder = casefile::ByteOrder::other;
  EXPECT_EQ(errorOf([&] { open(Image::of(kRow0, {300}).bytes(), other); }).kind(), ErrorKind::notADataFile);
  other.byteOrder = static_cast<casefile::ByteOrder>(3);
  EXPECT_EQ(errorOf([&] { open(Image::of(kRow0, {300}).bytes(), other); }).kind(), ErrorKind::usage);
}

TEST(ReaderPlace, ASearchCanBeStopped) {
  ReaderOptions stopped;
  stopped.progress = [](const casefile::Progress& progress) {
    EXPECT_EQ(progress.phase, casefile::Phase::searching);
    return casefile::Next::stop;
  };
  EXPECT_EQ(errorOf([&] { open(Image::of(kRow0, {300}).bytes(), stopped); }).kind(), ErrorKind::cancelled);
}

TEST(ReaderPlace, ADictionaryPartLongerThanABlockIsReadInOrder) {
  const int64 row0 = 2 * static_cast<int64>(kBlock) + 5;
  const Reader reader = open(support::imageBytes(row0, 100), at(row0));
  EXPECT_TRUE(readRange(reader, {0, reader.size()}) == plainFile(row0, 100));
}

TEST(ReaderPlace, ShortBlocksInTheMiddleAreReadAsTheyStand) {
  const Reader reader = open(Image::of(kRow0, {300, 7, 4000, 1}).bytes(), at(kRow0));
  EXPECT_EQ(readAt(reader, 0, 10000), plainFile(kRow0, 4308));
  EXPECT_EQ(readAt(reader, kRow0 + 299, 9), plainFile(kRow0, 4308).substr(kRow0 + 299, 9));
}

TEST(ReaderPlace, APositionWithoutAHeadingIsNoDataFile) {
  const auto error = errorOf([] { open(support::imageBytes(kRow0, 100), at(kRow0 + 1)); });
  EXPECT_EQ(error.kind(), ErrorKind::notADataFile);
  EXPECT_STREQ(error.what(), "scripted: has no heading at row-0 position 1001");
  EXPECT_EQ(errorOf([] { open("short", at(0)); }).kind(), ErrorKind::notADataFile);
  EXPECT_EQ(errorOf([] { open("", at(10)); }).kind(), ErrorKind::notADataFile);
}

TEST(ReaderPlace, ABrokenTableIsDamage) {
  Image image = Image::of(kRow0, {300, 400});
  image.records[1].orginalPos += 1;
  EXPECT_EQ(errorOf([&] { open(image.bytes(), at(kRow0)); }).kind(), ErrorKind::damaged);
}

TEST(ReaderPlace, WhetherItWasLookedForOrToldIsSaidByTheError) {
  const auto none = std::make_shared<ScriptedSource>("nothing of the kind");
  EXPECT_EQ(errorOf([&] { Reader::open(none); }).operation(), "find");
  ReaderOptions told;
  told.row0 = 3;
  EXPECT_EQ(errorOf([&] { Reader::open(none, told); }).operation(), "open");
}

TEST(ReaderDamage, OfHeadingAndTableIsToldAsInspectTellsIt) {
  Image image = Image::of(kRow0, {300, 400});
  image.records[1].orginalPos += 1;
  const auto source = std::make_shared<ScriptedSource>(image.bytes());
  const auto error = errorOf([&] { Reader::open(source); });
  EXPECT_EQ(error.kind(), ErrorKind::damaged);
  const auto told = casefile::inspect(source);
  const auto fault =
      std::find_if(told.faults.begin(), told.faults.end(), [](auto& each) { return each.hindersReading; });
  ASSERT_NE(fault, told.faults.end());
  EXPECT_THAT(error.what(), HasSubstr(fault->what));
}

TEST(ReaderDamage, ABlockThatCannotBeReadIsNamedAndTheOthersAreRead) {
  Image image = Image::of(kRow0, {300, 400, 500});
  image.blocks[1].back() = static_cast<char>(image.blocks[1].back() ^ 0x55);
  const Reader reader = open(image.bytes(), at(kRow0));
  for (int again = 0; again < 2; ++again) {
    const auto error = errorOf([&] { readAt(reader, kRow0 + 310, 1); });
    EXPECT_EQ(error.kind(), ErrorKind::damaged);
    EXPECT_THAT(error.what(), HasSubstr("scripted: block 1 (logical bytes 1300 to 1699) is damaged"));
    EXPECT_EQ(error.range(), (LogicalRange{kRow0 + 300, 400}));
    EXPECT_EQ(error.filePosition(), reader.block(1).filePosition);
  }
  EXPECT_EQ(readAt(reader, kRow0 + 700, 500), support::caseBytes(kRow0 + 700, 500));
}

TEST(ReaderDamage, OfABlockThatHoldsLessThanItsRecordSaysEitherMayBeWrong) {
  Image image = Image::of(kRow0, {300});
  image.records[0].orginalSize = 301;
  const auto error = errorOf([&] { readAt(open(image.bytes(), at(kRow0)), kRow0, 1); });
  EXPECT_THAT(error.what(), HasSubstr("its zlib stream is damaged, or holds another count of bytes than its record"));
}

TEST(ReaderDamage, AllInFrontOfADamagedBlockIsDelivered) {
  Image image = Image::of(kRow0, {300, 400, 500, 600});
  image.blocks[2] = std::string(image.blocks[2].size(), 'x');
  for (const std::size_t threads : {1U, 2U, 8U}) {
    const Reader reader = open(image.bytes(), at(kRow0, threads));
    int64 delivered = 0;
    const auto sink = [&](std::span<const std::byte> bytes, int64) { delivered += static_cast<int64>(bytes.size()); };
    EXPECT_EQ(errorOf([&] { reader.read({kRow0, 1800}, sink); }).range(), (LogicalRange{kRow0 + 700, 500}));
    EXPECT_EQ(delivered, 700);
  }
}

// Any byte of heading and table, changed in any way, makes an Error or leaves the data right.
TEST(ReaderDamage, EveryBentByteOfHeadingAndTableIsAnErrorOrHarmless) {
  const std::string good = Image::of(kRow0, {300, 400}).bytes();
  const std::string plain = plainFile(kRow0, 700);
  const std::size_t table = good.size() - 72;
  for (std::size_t i = kRow0; i < good.size(); i = i + 1 == kRow0 + 24 ? table : i + 1) {
    for (const int change : {0x01, 0x80, 0xFF}) {
      std::string bad = good;
      bad[i] = static_cast<char>(bad[i] ^ change);
      std::string read;
      const auto error = errorOf([&] { read = readAt(open(bad, at(kRow0)), 0, 2000); });
      EXPECT_TRUE(read == plain || (read.empty() && std::string(error.what()) != "no error")) << "byte " << i;
    }
  }
}

TEST(ReaderDamage, EveryCutOfAFileIsAnError) {
  const std::string good = Image::of(kRow0, {300, 400}).bytes();
  for (std::size_t length = 0; length < good.size(); ++length) {
    EXPECT_STRNE(errorOf([&] { open(good.substr(0, length), at(kRow0)); }).what(), "no error") << length;
  }
}

TEST(ReaderUse, WrongUseIsAnErrorThatSaysSo) {
  Reader reader = open(support::imageBytes(kRow0, 100), at(kRow0));
  const auto isUsage = [](const std::function<void()>& call) {
    const auto error = errorOf(call);
    return error.kind() == ErrorKind::usage && !std::string(error.what()).empty();
  };
  const auto drop = [](std::span<const std::byte>, int64) {};
  EXPECT_TRUE(isUsage([&] { readAt(reader, -1, 1); }));
  EXPECT_TRUE(isUsage([&] { reader.readAt({static_cast<std::byte*>(nullptr), 5}, 0); }));
  EXPECT_TRUE(isUsage([&] { reader.read({-1, 5}, drop); }));
  EXPECT_TRUE(isUsage([&] { reader.read({0, -5}, drop); }));
  EXPECT_TRUE(isUsage([&] { reader.read({0, 5}, nullptr); }));
  EXPECT_TRUE(isUsage([&] { reader.block(1); }));
  EXPECT_TRUE(isUsage([&] { reader.partitions(0, 8); }));
  EXPECT_TRUE(isUsage([&] { reader.partitions(4, 0); }));
  EXPECT_TRUE(isUsage([&] { Reader::open(std::shared_ptr<ScriptedSource>(), at(5)); }));
  EXPECT_TRUE(isUsage([&] { open("", at(-1)); }));
  for (const int number : {-1, 3}) {
    ReaderOptions order = at(kRow0);
    order.byteOrder = static_cast<casefile::ByteOrder>(number);
    EXPECT_TRUE(isUsage([&] { open(support::imageBytes(kRow0, 100), order); }));
  }
  const Reader taken = std::move(reader);
  EXPECT_TRUE(isUsage([&] { reader.size(); }));  // NOLINT: what a moved-from reader says
  EXPECT_EQ(taken.size(), kRow0 + 100);
}

TEST(ReaderUse, HugeNumbersAreNoWrongUse) {
  const Reader reader = open(support::imageBytes(kRow0, 100), at(kRow0, SIZE_MAX));
  constexpr int64 kHuge = std::numeric_limits<int64>::max();
  EXPECT_EQ(readAt(reader, kHuge, 10), "");
  EXPECT_EQ(readRange(reader, {kHuge, kHuge}), "");
  EXPECT_EQ(readRange(reader, {kRow0 + 50, kHuge}), support::caseBytes(kRow0 + 50, 50));
  EXPECT_THAT(reader.partitions(SIZE_MAX, kHuge), ElementsAre(LogicalRange{kRow0, 100}));
}

// Ranges that cover the case data, each of them beginning at a record and none empty.
void expectPartitions(const Reader& reader, std::size_t count, int64 record) {
  SCOPED_TRACE(std::to_string(count) + " partitions of records of " + std::to_string(record));
  const auto parts = reader.partitions(count, record);
  ASSERT_LE(parts.size(), count);
  int64 next = reader.row0();
  for (const LogicalRange& part : parts) {
    EXPECT_EQ(part.start, next);
    EXPECT_EQ((part.start - reader.row0()) % record, 0);
    EXPECT_GT(part.size, 0);
    next = part.end();
  }
  EXPECT_EQ(next, reader.size());
}

TEST(ReaderPartitions, CoverTheDataInWholeRecords) {
  const Reader reader = open(support::imageBytes(kRow0, 3 * kWhole + 17), at(kRow0));
  for (const std::size_t count : {1U, 2U, 3U, 4U, 5U, 100U}) {
    for (const int64 record : {int64{1}, int64{80}, int64{1023}, int64{4190208}, int64{5000000}, int64{99999999}}) {
      expectPartitions(reader, count, record);
    }
  }
}

TEST(ReaderPartitions, BeginWhereBlocksBeginWhenRecordsDo) {
  const Reader reader = open(support::imageBytes(kRow0, 3 * kWhole + 17), at(kRow0));
  const auto block = static_cast<int64>(kBlock);
  EXPECT_THAT(reader.partitions(2, 64),
              ElementsAre(LogicalRange{kRow0, 2 * block}, LogicalRange{kRow0 + 2 * block, block + 17}));
}

TEST(ReaderPartitions, OfNothingAreNone) {
  EXPECT_TRUE(open(support::imageBytes(kRow0, 0), at(kRow0)).partitions(4, 8).empty());
}

}  // namespace
