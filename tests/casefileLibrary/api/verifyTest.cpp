#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "../support/damagedFiles.h"
#include "../support/sources.h"
#include "casefile/appender.h"
#include "casefile/error.h"
#include "casefile/inspect.h"
#include "casefile/reader.h"
#include "casefile/verify.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using casefile::Appender;
using casefile::ErrorKind;
using casefile::FaultKind;
using casefile::inspect;
using casefile::Inspection;
using casefile::JournalFound;
using casefile::LogicalRange;
using casefile::Next;
using casefile::Phase;
using casefile::Progress;
using casefile::Reader;
using casefile::Verification;
using casefile::verify;
using casefile::VerifyOptions;
using support::errorOf;
using support::Image;
using support::kBlock;
using support::kBlockLength;
using support::ScriptedSource;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int64 kRow0 = 1000;

VerifyOptions with(std::size_t threads) {
  VerifyOptions options;
  options.threads = threads;
  return options;
}

Verification verifyBytes(const std::string& bytes, const VerifyOptions& options = {}) {
  return verify(std::make_shared<ScriptedSource>(bytes), options);
}

LogicalRange blocks(std::size_t first, std::size_t count) {
  return {kRow0 + static_cast<int64>(first) * kBlockLength, static_cast<int64>(count) * kBlockLength};
}

// Byte order, and how many threads.
class VerifyTest : public testing::TestWithParam<std::tuple<bool, std::size_t>> {
 protected:
  Image image_ = Image::of(kRow0, {kBlock, kBlock, kBlock, kBlock, 300});
  support::Deadline deadline_{"VerifyTest"};

  VerifyTest() { image_.swapped = std::get<0>(GetParam()); }
  VerifyOptions options() const { return with(std::get<1>(GetParam())); }
  Verification verified() const { return verifyBytes(image_.bytes(), options()); }
};

TEST_P(VerifyTest, ASoundFileIsSound) {
  const Verification told = verifyBytes(image_.bytes() + "dead", options());
  EXPECT_TRUE(told.sound());
  EXPECT_TRUE(told.faults.empty());
  EXPECT_TRUE(told.lost.empty());
  EXPECT_EQ(told.row0, kRow0);
  EXPECT_EQ(told.swapped, image_.swapped);
  EXPECT_EQ(told.blocks, 5U);
  EXPECT_EQ(told.caseBytes, 4 * kBlockLength + 300);
  EXPECT_EQ(told.deadBytes, 4);
}

TEST_P(VerifyTest, GoesOnBehindDamageAndJoinsNeighbours) {
  support::breakBlock(image_, 0);
  support::spoilCheckValue(image_, 1);
  support::spoilCheckValue(image_, 3);
  const Verification told = verified();
  EXPECT_FALSE(told.sound());
  ASSERT_EQ(told.faults.size(), 3U);
  for (const std::size_t i : {0U, 1U, 2U}) {
    const std::size_t block = i == 2 ? 3 : i;
    EXPECT_EQ(told.faults[i].kind, FaultKind::streamDamaged);
    EXPECT_EQ(told.faults[i].block, std::optional(block));
    EXPECT_EQ(told.faults[i].filePosition, image_.records[block].translatePos);
    EXPECT_EQ(told.faults[i].range, blocks(block, 1));
    EXPECT_TRUE(told.faults[i].isDamage);
  }
  EXPECT_THAT(told.faults[1].what, HasSubstr("incorrect data check"));
  EXPECT_EQ(told.damagedBlocks, 3U);
  EXPECT_THAT(told.lost, ElementsAre(blocks(0, 2), blocks(3, 1)));
  EXPECT_EQ(told.unlistedLost, 0U);
}

TEST_P(VerifyTest, ABlockMayHoldAnotherCountOfBytesThanRecorded) {
  image_.records[4].orginalSize = 299;
  const Verification told = verified();
  ASSERT_EQ(told.faults.size(), 1U);
  EXPECT_EQ(told.faults[0].kind, FaultKind::plainSize);
  EXPECT_EQ(told.faults[0].what, "it holds 300 bytes, its record says 299");
}

TEST_P(VerifyTest, AStreamMayBeShorterThanRecorded) {
  image_.blocks[4] += "spare";
  image_.records[4].translateSize += 5;
  image_.heading._infoPos += 5;
  const Verification told = verified();
  ASSERT_EQ(told.faults.size(), 1U);
  EXPECT_EQ(told.faults[0].kind, FaultKind::streamSize);
}

// The record's wrong size hides where the blocks end, and so what begins there.
TEST_P(VerifyTest, ABlockMayHideBehindAWrongRecordOfTheLastOne) {
  const int64 hidden = image_.records.back().translatePos;
  for (const int wrong : {-2, 3, image_.records.back().translateSize}) {
    Image image = image_;
    image.records.pop_back();
    image.records.back().translateSize += wrong;
    image.heading._size -= static_cast<int64>(kRecordSize);
    image.tableHead.translateSize -= 1;
    const Verification told = verifyBytes(image.bytes(), options());
    EXPECT_THAT(told.lost, ElementsAre(blocks(3, 1)));
    const auto fault = std::find_if(told.faults.begin(), told.faults.end(),
                                    [](const auto& each) { return each.kind == FaultKind::hiddenBlock; });
    ASSERT_NE(fault, told.faults.end()) << wrong;
    EXPECT_EQ(fault->filePosition, hidden);
    EXPECT_TRUE(fault->isDamage && !fault->hindersReading && !fault->block);
  }
}

TEST_P(VerifyTest, BehindAWrongRecordOfTheLastBlockNothingMayHide) {
  image_.records.back().translateSize += 3;
  image_.heading._infoPos += 3;
  image_.blocks.back() += "\x78\x01?";
  const Verification told = verified();
  ASSERT_EQ(told.faults.size(), 1U);
  EXPECT_EQ(told.faults.front().kind, FaultKind::streamSize);
}

TEST_P(VerifyTest, AStreamMayBeCut) {
  image_.blocks[4].pop_back();
  image_.records[4].translateSize -= 1;
  image_.heading._infoPos -= 1;
  const Verification told = verified();
  ASSERT_EQ(told.faults.size(), 1U);
  EXPECT_EQ(told.faults[0].kind, FaultKind::streamCut);
}

TEST_P(VerifyTest, AStreamMayHoldMoreThanABlock) {
  image_.blocks[4] = support::zipped(support::caseBytes(0, kBlock + 1));
  image_.records[4].translateSize = static_cast<std::int32_t>(image_.blocks[4].size());
  image_.heading._infoPos = image_.records[4].translatePos + image_.records[4].translateSize;
  const Verification told = verified();
  ASSERT_EQ(told.faults.size(), 1U);
  EXPECT_EQ(told.faults[0].kind, FaultKind::streamTooLong);
}

TEST_P(VerifyTest, ATableThatDoubtsABlockMakesItALostOne) {
  image_.records[2].orginalPos += 7;
  const Verification told = verified();
  EXPECT_THAT(told.lost, ElementsAre(blocks(2, 1)));
  ASSERT_FALSE(told.faults.empty());
  EXPECT_EQ(told.faults[0].kind, FaultKind::logicalPosition);
}

TEST_P(VerifyTest, OtherCaseDataBehindTheTableAreAFault) {
  const Image other = Image::of(kRow0 / 2, {300});
  const Verification told = verifyBytes(image_.bytes() + other.bytes(), options());
  EXPECT_FALSE(told.sound());
  EXPECT_EQ(told.damagedBlocks, 0U);
  ASSERT_EQ(told.faults.size(), 1U);
  EXPECT_EQ(told.faults[0].kind, FaultKind::otherData);
  EXPECT_GE(told.faults[0].filePosition.value_or(0), static_cast<int64>(image_.bytes().size()));
}

TEST_P(VerifyTest, StopsAtEveryBlockWhenTheProgramSaysSo) {
  const std::string bytes = image_.bytes();
  for (int stopAt = 1; stopAt <= 5; ++stopAt) {
    VerifyOptions stopped = options();
    int asked = 0;
    stopped.progress = [&](const Progress& progress) {
      asked += progress.phase == Phase::reading ? 1 : 0;
      return asked == stopAt ? Next::stop : Next::proceed;
    };
    EXPECT_EQ(errorOf([&] { verifyBytes(bytes, stopped); }).kind(), ErrorKind::cancelled);
    EXPECT_EQ(asked, stopAt);
  }
}

TEST_P(VerifyTest, TellsHowFarItIs) {
  VerifyOptions watched = options();
  int64 last = 0;
  int64 inAll = -1;
  watched.progress = [&](const Progress& progress) {
    if (progress.phase == Phase::reading) {
      EXPECT_GE(progress.bytesDone, last);
      EXPECT_LE(progress.bytesDone, progress.bytesInAll);
      last = progress.bytesDone;
      inAll = progress.bytesInAll;
    }
    return Next::proceed;
  };
  verifyBytes(image_.bytes(), watched);
  EXPECT_EQ(last, inAll);
  EXPECT_EQ(last, image_.heading._infoPos - kRow0 - static_cast<int64>(kHeadingSize));
}

TEST_P(VerifyTest, TheFirstErrorOfTheSourceInTheOrderOfTheFileIsRaised) {
  const auto source = std::make_shared<ScriptedSource>(image_.bytes());
  const int64 first = image_.records[1].translatePos;
  source->beforeRead = [&](std::int64_t position) {
    for (const std::size_t block : {1U, 3U}) {
      if (position == image_.records[block].translatePos) {
        throw std::out_of_range(std::to_string(position));
      }
    }
  };
  VerifyOptions told = options();
  told.row0 = kRow0;
  try {
    verify(source, told);
    FAIL() << "nothing was raised";
  } catch (const std::out_of_range& error) {
    EXPECT_EQ(error.what(), std::to_string(first));
  }
}

TEST_P(VerifyTest, WhatACallbackThrowsPassesThrough) {
  VerifyOptions throwing = options();
  throwing.progress = [](const Progress& progress) -> Next {
    return progress.phase == Phase::reading ? throw std::domain_error("callback") : Next::proceed;
  };
  EXPECT_THROW(verifyBytes(image_.bytes(), throwing), std::domain_error);
}

TEST_P(VerifyTest, ShortReadsAreGoneOnWith) {
  const auto source = std::make_shared<ScriptedSource>(image_.bytes());
  source->mostAtOnce = 1000;
  EXPECT_TRUE(verify(source, options()).sound());
}

INSTANTIATE_TEST_SUITE_P(OrdersAndThreads, VerifyTest,
                         testing::Combine(testing::Bool(), testing::Values<std::size_t>(1, 2, 8)));

TEST(Verify, FaultsOfTheFileComeFirstAndThenThoseOfEachBlock) {
  Image image = Image::of(kRow0, {1000, 500, 300});
  ++image.tableHead.translatePos;
  image.blocks[0].back() ^= 1;
  image.blocks[2].back() ^= 1;
  const Verification told = verifyBytes(image.bytes(), with(1));
  std::vector<std::optional<std::size_t>> blocks;
  for (const auto& fault : told.faults) {
    blocks.push_back(fault.block);
  }
  EXPECT_THAT(blocks, ElementsAre(std::nullopt, 0U, 0U, 1U, 2U));  // the first two are short
  EXPECT_EQ(told.damagedBlocks, 3U);
  EXPECT_THAT(told.lost, ElementsAre(LogicalRange{kRow0, 1800}));
}

TEST(Verify, AThousandDamagedBlocksAreListedAndTheOthersCounted) {
  Image image = Image::of(kRow0, {kBlock});
  const std::string sound = image.blocks[0];
  std::string broken = sound;
  broken.front() ^= 1;  // told at its first byte: half of the blocks are inflated
  const bInfo first = image.records[0];
  image.blocks.clear();
  image.records.clear();
  constexpr int kBlocks = 2010;
  for (int i = 0; i < kBlocks; ++i) {
    image.blocks.push_back(i % 2 == 0 ? broken : sound);
    image.records.push_back({kRow0 + i * kBlockLength, first.translatePos + i * static_cast<int64>(sound.size()),
                             first.orginalSize, first.translateSize});
  }
  image.tableHead.translateSize = kBlocks;
  image.heading._infoPos = first.translatePos + kBlocks * static_cast<int64>(sound.size());
  image.heading._size = (kBlocks + 1) * static_cast<int64>(kRecordSize);
  const Verification told = verifyBytes(image.bytes(), with(2));
  EXPECT_EQ(told.faults.size(), 1000U);
  EXPECT_EQ(told.faults.back().block, std::optional<std::size_t>(1998));
  EXPECT_EQ(told.damagedBlocks, 1005U);
  EXPECT_EQ(told.lost.size(), 1000U);
  EXPECT_EQ(told.unlistedLost, 5U);
}

// Either no heading is found, or something is amiss, or what is read is `plain`.
::testing::AssertionResult isNoticedOrHarmless(const std::string& changed, const std::string& plain) {
  Verification told;
  const auto error = errorOf([&] { told = verifyBytes(changed, with(1)); });
  if (error.what() != std::string("no error")) {
    return error.kind() == ErrorKind::notADataFile ? ::testing::AssertionSuccess()
                                                   : ::testing::AssertionFailure() << error.what();
  }
  if (!told.sound()) {
    return ::testing::AssertionSuccess();
  }
  std::string read(plain.size() + 1, '?');
  const Reader reader = Reader::open(std::make_shared<ScriptedSource>(changed));
  read.resize(reader.readAt(support::writable(read), 0));
  return read == plain ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "sound, but reads wrong";
}

// Of heading and table of a file of one block.
TEST(Verify, EveryValueOfEveryByteIsNoticedOrHarmless) {
  const Image image = Image::of(kRow0, {1000});
  const std::string good = image.bytes();
  const std::string plain = support::dictionaryBytes(kRow0) + support::caseBytes(kRow0, 1000);
  ASSERT_TRUE(verifyBytes(good).sound());
  const auto table = static_cast<std::size_t>(image.heading._infoPos);
  std::size_t changes = 0;
  for (std::size_t place = kRow0; place < good.size(); place = place + 1 == kRow0 + kHeadingSize ? table : place + 1) {
    for (int bits = 1; bits < 256; ++bits, ++changes) {
      std::string changed = good;
      changed[place] = static_cast<char>(changed[place] ^ bits);
      EXPECT_TRUE(isNoticedOrHarmless(changed, plain)) << "byte " << place << " with " << bits;
    }
  }
  EXPECT_EQ(changes, 255U * (kHeadingSize + 2 * kRecordSize));
}

TEST(Verify, WhatIsNoDataFileIsAnError) {
  EXPECT_EQ(errorOf([] { verifyBytes("nothing of the kind"); }).kind(), ErrorKind::notADataFile);
  EXPECT_EQ(errorOf([] { verify(std::string()); }).kind(), ErrorKind::usage);
  EXPECT_EQ(errorOf([] { verify(std::shared_ptr<const casefile::RandomAccessFile>()); }).kind(), ErrorKind::usage);
}

// A file, and beside it the journal of an append that was killed.
class VerifyUnfinishedAppend : public testing::Test {
 protected:
  VerifyUnfinishedAppend() {
    folder_.writePlain("file", Image::of(kRow0, {kBlock, 300}).bytes());
    Appender killed = Appender::open(name_);
    const std::string more = support::caseBytes(kRow0 + kBlockLength + 300, 2 * kBlock);
    killed.write(std::as_bytes(std::span(more)));
    folder_.copy("file.journal", "kept");
  }

  void leaveJournal() {
    folder_.copy("kept", "file.journal");
    std::filesystem::permissions(name_ + ".journal",
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }

  support::Deadline deadline_{"VerifyUnfinishedAppend"};
  support::TestFolder folder_;
  std::string name_ = folder_.path("file");
};

TEST_F(VerifyUnfinishedAppend, AFileIsJudgedAsItWasBefore) {
  // What the append has overwritten and added by then is nothing to verify.
  const std::string bytes = folder_.readWhole("file");
  const int64 lastBlock = Image::of(kRow0, {kBlock, 300}).records[1].translatePos;
  folder_.writePlain("file", bytes.substr(0, static_cast<std::size_t>(lastBlock)) + std::string(5000, 'x'));
  leaveJournal();
  const Verification told = verify(name_);
  EXPECT_EQ(told.unfinishedAppend.found, JournalFound::unfinished);
  EXPECT_TRUE(told.unfinishedAppend.isOpen());
  EXPECT_TRUE(told.asBeforeAppend);
  EXPECT_TRUE(told.sound()) << told.faults.front().what;
  EXPECT_EQ(told.caseBytes, kBlockLength + 300);
  EXPECT_EQ(told.deadBytes, 0);
  const Inspection seen = inspect(name_);
  EXPECT_EQ(seen.unfinishedAppend.found, JournalFound::unfinished);
  EXPECT_TRUE(seen.faults.empty());
  EXPECT_EQ(seen.fileSize, std::ssize(bytes));
  EXPECT_EQ(seen.logicalSize, kRow0 + kBlockLength + 300);
}

TEST_F(VerifyUnfinishedAppend, ADamagedJournalIsTold) {
  leaveJournal();
  folder_.patchByte("file.journal", 40, 0x7F);
  const Verification told = verify(name_);
  EXPECT_EQ(told.unfinishedAppend.found, JournalFound::damaged);
  EXPECT_FALSE(told.asBeforeAppend);
  EXPECT_EQ(inspect(name_).unfinishedAppend.found, JournalFound::damaged);
}

TEST_F(VerifyUnfinishedAppend, AJournalOfAnotherFileIsTold) {
  folder_.writePlain("copy", Image::of(kRow0, {kBlock, 400}).bytes());
  folder_.copy("kept", "copy.journal");
  const Verification told = verify(folder_.path("copy"));
  EXPECT_EQ(told.unfinishedAppend.found, JournalFound::ofAnother);
  EXPECT_FALSE(told.asBeforeAppend);
  EXPECT_TRUE(told.sound());
}

// It used to be told fault by fault what the append had overwritten by then.
TEST_F(VerifyUnfinishedAppend, ACopyThatCannotBeReadAsItLiesIsJudgedAsItWasBefore) {
  const std::string bytes = folder_.readWhole("file");
  const auto lastBlock = static_cast<std::size_t>(Image::of(kRow0, {kBlock, 300}).records[1].translatePos);
  const std::string table = bytes.substr(bytes.size() - 3 * 24);
  const std::size_t tableAt = bytes.size() - table.size();
  const std::string overwritten[] = {
      bytes.substr(0, lastBlock) + std::string(5000, 'x'),
      bytes.substr(0, lastBlock) + std::string(tableAt - lastBlock, 'x') + table,  // the last block alone
  };
  for (const std::string& now : overwritten) {
    folder_.writePlain("copy", now);
    folder_.copy("kept", "copy.journal");
    const Verification told = verify(folder_.path("copy"));
    EXPECT_EQ(told.unfinishedAppend.found, JournalFound::ofAnother);
    EXPECT_TRUE(told.asBeforeAppend);
    EXPECT_TRUE(told.sound()) << told.faults.front().what;
    EXPECT_EQ(told.caseBytes, kBlockLength + 300);
    const Inspection seen = inspect(folder_.path("copy"));
    EXPECT_EQ(seen.unfinishedAppend.found, JournalFound::ofAnother);
    EXPECT_TRUE(seen.faults.empty());
    EXPECT_EQ(seen.fileSize, std::ssize(bytes));
  }
}

// As it is, it may be right: whoever has it decides.
TEST_F(VerifyUnfinishedAppend, ACopyThatCanBeReadIsJudgedAsItLies) {
  folder_.writePlain("copy", folder_.readWhole("file") + "dead");
  folder_.copy("kept", "copy.journal");
  const Verification told = verify(folder_.path("copy"));
  EXPECT_EQ(told.unfinishedAppend.found, JournalFound::ofAnother);
  EXPECT_FALSE(told.asBeforeAppend);
  EXPECT_TRUE(told.sound());
  EXPECT_EQ(told.deadBytes, 4);
}

TEST_F(VerifyUnfinishedAppend, AReaderSaysSo) {
  const Reader reader = Reader::open(name_);
  EXPECT_FALSE(reader.unfinishedAppend());
  leaveJournal();
  EXPECT_TRUE(reader.unfinishedAppend());
  EXPECT_FALSE(Reader::open(casefile::openFile(name_)).unfinishedAppend());
  folder_.writePlain("file", std::string(5000, 'x'));
  leaveJournal();
  const auto error = errorOf([&] { Reader::open(name_); });
  EXPECT_EQ(error.kind(), ErrorKind::notADataFile);
  EXPECT_EQ(error.file(), name_);
  EXPECT_THAT(error.what(), HasSubstr("an append to it has not finished: " + name_ + ".journal is there"));
}

TEST_F(VerifyUnfinishedAppend, NothingIsToldWhenItWasTakenBack) {
  EXPECT_EQ(verify(name_).unfinishedAppend.found, JournalFound::none);
  EXPECT_FALSE(casefile::unfinishedAppendOf(name_).isOpen());
}

}  // namespace
