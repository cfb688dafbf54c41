#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "formReading.h"
#include "formRules.h"
#include "support/bytesReader.h"

// Rules at their limits: numbers that no file in a test has room for, tables of several pieces.

namespace {

using datasource::form::AppendExtent;
using datasource::form::ChainCheck;
using datasource::form::Fault;
using datasource::form::FormReading;
using datasource::form::Rule;
using datasource::form::TableRecord;

constexpr auto kBlock = static_cast<std::int32_t>(kBlockSize);
constexpr auto kRecord = static_cast<int64>(kRecordSize);
constexpr int64 kLargestTable = INT32_MAX;

std::vector<Rule> rulesOf(const std::vector<Fault>& faults) {
  std::vector<Rule> rules;
  std::transform(faults.begin(), faults.end(), std::back_inserter(rules), [](const Fault& f) { return f.rule; });
  return rules;
}

std::vector<Rule> brokenBy(const compressionHeading& heading, int64 fileSize) {
  std::vector<Fault> faults;
  const bool goesOn = datasource::form::checkHeading(heading, 100, fileSize, faults);
  EXPECT_EQ(goesOn, faults.empty());
  return rulesOf(faults);
}

TEST(FormRulesHeading, ATableHasRoomForItsHeaderRecordAtLeast) {
  EXPECT_THAT(brokenBy({100, 124, kRecord}, 1000), testing::IsEmpty());
  EXPECT_THAT(brokenBy({100, 124, kRecord - 1}, 1000), testing::ElementsAre(Rule::tableHasHeader));
}

TEST(FormRulesHeading, ATableMayEndWithTheFileAndNotBehindIt) {
  EXPECT_THAT(brokenBy({100, 900, 100}, 1000), testing::IsEmpty());
  EXPECT_THAT(brokenBy({100, 901, 100}, 1000), testing::ElementsAre(Rule::tableLiesInFile));
  EXPECT_THAT(brokenBy({100, 1001, 100}, 1000), testing::ElementsAre(Rule::tableLiesInFile));
  EXPECT_THAT(brokenBy({100, -1, 100}, 1000), testing::ElementsAre(Rule::tableLiesInFile));
}

TEST(FormRulesHeading, ATableIsNotLongerThanOneTransferMayBe) {
  EXPECT_THAT(brokenBy({100, 124, kLargestTable}, INT64_MAX), testing::IsEmpty());
  EXPECT_THAT(brokenBy({100, 124, kLargestTable + 1}, INT64_MAX), testing::ElementsAre(Rule::tableFitsOneTransfer));
}

TEST(FormRulesHeading, LiesInTheFileWhateverTheNumbersAre) {
  EXPECT_TRUE(datasource::form::tableLiesInFile({0, 0, 0}, 0));
  EXPECT_FALSE(datasource::form::tableLiesInFile({0, 0, -1}, 0));
  EXPECT_FALSE(datasource::form::tableLiesInFile({0, INT64_MAX, INT64_MAX}, INT64_MAX));
  EXPECT_TRUE(datasource::form::tableLiesInFile({0, INT64_MAX, 0}, INT64_MAX));
}

TEST(FormRulesTable, HasAHeaderRecordOfItsOwn) {
  struct Case {
    bInfo header;
    std::vector<Fault> faults;
  };
  const std::vector<Case> cases = {
      {{-100, 0, kBlock, 1}, {}},
      {{-101, 0, kBlock, 1}, {{Rule::headerHasMark, {}, -101, -100}}},
      {{-100, 1, kBlock, 1}, {{Rule::headerFilePosIsNought, {}, 1, 0}}},
      {{-100, 0, 1, 1}, {{Rule::headerBlockSizeIsUsual, {}, 1, kBlock}}},
      {{-100, 0, 0, 1}, {{Rule::headerBlockSizeIsSize, {}, 0, kBlock}}},
      {{-100, 0, -1, 1}, {{Rule::headerBlockSizeIsSize, {}, -1, kBlock}}},
      {{-100, 0, kBlock, 0}, {{Rule::tableHoldsItsRecords, {}, 0, 1}}},
      {{-100, 0, kBlock, -1}, {{Rule::headerCountIsCount, {}, -1, 0}}},
  };
  for (const Case& of : cases) {
    std::vector<Fault> faults;
    EXPECT_TRUE(checkTableHeader(of.header, {100, 200, 2 * kRecord}, 100, faults));
    ASSERT_EQ(rulesOf(faults), rulesOf(of.faults));
    if (!faults.empty()) {
      EXPECT_EQ(faults[0].found, of.faults[0].found);
      EXPECT_EQ(faults[0].expected, of.faults[0].expected);
    }
  }
}

TEST(FormRulesTable, IsOfWholeRecords) {
  std::vector<Fault> faults;
  EXPECT_FALSE(checkTableHeader({-100, 0, kBlock, 1}, {100, 200, 2 * kRecord + 1}, 100, faults));
  EXPECT_THAT(rulesOf(faults), testing::ElementsAre(Rule::tableIsWholeRecords));
  EXPECT_EQ(faults[0].found, 2 * kRecord + 1);
  EXPECT_EQ(faults[0].expected, 2 * kRecord);
}

TEST(FormRulesHeading, AFaultTellsWhatStandsThereAndWhatShould) {
  struct Case {
    compressionHeading heading;
    int64 found;
    int64 expected;
  };
  const std::vector<Case> cases = {{{99, 200, kRecord}, 99, 100},
                                   {{100, 200, kRecord - 1}, kRecord - 1, kRecord},
                                   {{100, 990, kRecord}, 990, 1000 - kRecord}};
  for (const Case& of : cases) {
    std::vector<Fault> faults;
    checkHeading(of.heading, 100, 1000, faults);
    ASSERT_EQ(faults.size(), 1U);
    EXPECT_EQ(faults[0].found, of.found);
    EXPECT_EQ(faults[0].expected, of.expected);
  }
}

TEST(FormRulesTable, HasNoMoreRecordsThanBytesForBlocks) {
  for (const int64 count : {4, 5}) {
    std::vector<Fault> faults;
    const compressionHeading heading{100, 128, (count + 1) * kRecord};
    const bool goesOn =
        checkTableHeader(tableHeader(kBlockSize, static_cast<std::size_t>(count)), heading, 100, faults);
    EXPECT_EQ(goesOn, count == 4);
    EXPECT_EQ(rulesOf(faults), goesOn ? std::vector<Rule>{} : std::vector<Rule>{Rule::blocksHaveRoom});
  }
}

TEST(FormRulesTable, ThatLiesInFrontOfTheBlocksHasRoomForNone) {
  std::vector<Fault> faults;
  EXPECT_FALSE(checkTableHeader(tableHeader(kBlockSize, 1), {100, INT64_MIN + 24, 2 * kRecord}, 100, faults));
  EXPECT_THAT(rulesOf(faults), testing::ElementsAre(Rule::blocksHaveRoom));
  EXPECT_EQ(faults[0].expected, 0);
}

TEST(FormRulesAppend, OverwritesALastBlockThatIsNotWholeAndLeavesAWholeOne) {
  const AppendExtent none = datasource::form::overwrittenByAppend(100, {});
  EXPECT_EQ(none.filePos, 124);
  EXPECT_EQ(none.logicalPos, 100);
  EXPECT_FALSE(none.reopens);
  const AppendExtent partial = datasource::form::overwrittenByAppend(100, bInfo{100, 124, kBlock - 1, 50});
  EXPECT_EQ(partial.filePos, 124);
  EXPECT_EQ(partial.logicalPos, 100);
  EXPECT_TRUE(partial.reopens);
  const AppendExtent whole = datasource::form::overwrittenByAppend(100, bInfo{100, 124, kBlock, 50});
  EXPECT_EQ(whole.filePos, 174);
  EXPECT_EQ(whole.logicalPos, 100 + kBlock);
  EXPECT_FALSE(whole.reopens);
}

TEST(FormChain, AWrongSizeOfAWholeBlockShowsAtTheNextOnTheGrid) {
  ChainCheck chain(100, 224, 10'000, 2);
  chain.take({100, 124, 1000, 50});  // in truth a whole one
  EXPECT_EQ(chain.take({100 + kBlock, 174, 1000, 50}), 100 + kBlock);
  EXPECT_EQ(chain.finish(), 224);
  const std::vector<Rule> rules = rulesOf(chain.faults());
  EXPECT_THAT(rules, testing::UnorderedElementsAre(Rule::onlyLastBlockIsShort, Rule::blockReachesNext));
  const auto reaches = std::find_if(chain.faults().begin(), chain.faults().end(),
                                    [](const Fault& fault) { return fault.rule == Rule::blockReachesNext; });
  EXPECT_EQ(reaches->block, 0U);
  EXPECT_EQ(reaches->found, 1100);
  EXPECT_EQ(reaches->expected, 100 + kBlock);
}

TEST(FormChain, GoesOnBehindWhatARecordSaysUnlessThatIsNoBlocksSize) {
  struct Case {
    std::int32_t size;
    int64 next;
    std::vector<Rule> rules;
  };
  const std::vector<Case> cases = {
      {kBlock, kBlock, {}},
      {1, 1, {Rule::onlyLastBlockIsShort}},
      {0, kBlock, {Rule::recordIsPossible}},
      {-1, kBlock, {Rule::recordIsPossible}},
      {kBlock + 1, kBlock, {Rule::recordIsPossible}},
      {kBlock, kBlock + 1, {Rule::blockStartsAtPrevious}},
  };
  for (const Case& of : cases) {
    ChainCheck chain(100, 224, 10'000, 2);
    EXPECT_EQ(chain.take({100, 124, of.size, 50}), 100);
    chain.take({100 + of.next, 174, 1000, 50});
    EXPECT_EQ(chain.finish(), 224);
    EXPECT_EQ(rulesOf(chain.faults()), of.rules) << of.size;
  }
}

// Where a block lies in the file is told of the block whose record is wrong: the one before where the next agrees.
TEST(FormChain, AWrongFilePositionIsToldOfTheBlockThatHasIt) {
  struct Case {
    std::vector<bInfo> records;
    Rule rule;
    std::size_t block;
    int64 found;
    int64 expected;
  };
  constexpr bInfo kFirst{100, 124, kBlock, 50};
  const std::vector<Case> cases = {
      {{{100, 125, kBlock, 50}, {100 + kBlock, 175, kBlock, 50}}, Rule::blockStartsAtPreviousInFile, 0, 125, 124},
      {{kFirst, {100 + kBlock, 180, kBlock, 50}, {100 + 2 * kBlock, 230, 9, 9}},
       Rule::blockReachesNextInFile,
       0,
       174,
       180},
      {{kFirst, {100 + kBlock, 174, kBlock, 50}, {100 + 2 * kBlock, 225, 9, 50}},
       Rule::blockReachesNextInFile,
       1,
       224,
       225},
      {{kFirst, {100 + kBlock, 180, kBlock, 44}, {100 + 2 * kBlock, 218, 9, 9}},
       Rule::blockStartsAtPreviousInFile,
       1,
       180,
       174},
  };
  for (const Case& of : cases) {
    const bInfo& last = of.records.back();
    ChainCheck chain(100, last.translatePos + last.translateSize, 10'000, of.records.size());
    for (const bInfo& record : of.records) {
      chain.take(record);
    }
    EXPECT_EQ(chain.finish(), last.translatePos + last.translateSize);
    ASSERT_THAT(rulesOf(chain.faults()), testing::ElementsAre(of.rule));
    EXPECT_EQ(chain.faults()[0].block, of.block);
    EXPECT_EQ(chain.faults()[0].found, of.found);
    EXPECT_EQ(chain.faults()[0].expected, of.expected);
  }
}

TEST(FormChain, ABlockMayEndWithTheFileAndNotBehindIt) {
  for (const int64 fileSize : {174, 173}) {
    ChainCheck chain(100, 174, fileSize, 1);
    chain.take({100, 124, 1000, 50});
    chain.finish();
    EXPECT_EQ(rulesOf(chain.faults()),
              fileSize == 174 ? std::vector<Rule>{} : std::vector<Rule>{Rule::recordIsPossible});
  }
}

TEST(FormChain, AThousandFaultsAreListedAndTheOthersCounted) {
  ChainCheck chain(100, 124, 10'000, 1500);
  for (int64 i = 0; i < 1500; ++i) {
    chain.take({100 + i * kBlock, 124, 0, 0});
  }
  EXPECT_EQ(chain.breaks(), 1500U);
  EXPECT_EQ(rulesOf(chain.faults()), std::vector<Rule>(1000, Rule::recordIsPossible));
  EXPECT_EQ(chain.unlistedFaults(), 500U);
  EXPECT_TRUE(chain.unlistedHinder());
}

TEST(FormRecord, WhoseSumsOverflowCannotBeUsed) {
  EXPECT_TRUE(isUsable({INT64_MAX - 10, INT64_MAX - 20, 10, 20}));
  EXPECT_FALSE(isUsable({INT64_MAX - 10, 0, 11, 20}));
  EXPECT_FALSE(isUsable({0, INT64_MAX - 20, 10, 21}));
}

TEST(FormRecord, OfAWholeBlockIsTheLargestThatCanBeUsed) {
  EXPECT_TRUE(isUsable({0, 0, kBlock, kBlock}));
  EXPECT_FALSE(isUsable({0, 0, kBlock + 1, kBlock}));
  EXPECT_FALSE(isUsable({0, 0, kBlock, kBlock + 1}));
  EXPECT_FALSE(isUsable({0, 0, 0, 1}));
  EXPECT_FALSE(isUsable({0, 0, 1, 0}));
  EXPECT_FALSE(isUsable({0, -1, 1, 1}));
}

/// A file of `count` blocks of one compressed byte each, whose table needs several pieces.
class SeveralPieces : public ::testing::Test {
 protected:
  static constexpr std::size_t kCount = 5000;
  static constexpr std::size_t kInFirstPiece = 2047;
  static constexpr int64 kRow0 = 100;

  SeveralPieces() : bytes_(static_cast<std::size_t>(kTable) + tableLength(kCount), '\0') {
    put(kRow0, compressionHeading{kRow0, kTable, static_cast<int64>(tableLength(kCount))});
    put(kTable, tableHeader(kBlockSize, kCount));
    for (std::size_t i = 0; i < kCount; ++i) {
      put(placeOf(i), recordOf(i));
    }
  }
  static int64 placeOf(std::size_t i) { return kTable + static_cast<int64>(tableLength(i)); }
  static bInfo recordOf(std::size_t i) {
    return {kRow0 + static_cast<int64>(i) * kBlock, kRow0 + 24 + static_cast<int64>(i), kBlock, 1};
  }
  template <typename T>
  void put(int64 at, const T& value) {
    encode(value, &bytes_[static_cast<std::size_t>(at)]);
  }
  /// Reads the table. Returns: how many records were given.
  std::size_t read(FormReading::Leave leave, datasource::form::RandomAccessReader& file) {
    FormReading reading(file, kRow0, false, leave);
    std::size_t given = 0;
    whole = reading.readHeading() && reading.readTableHeader() && reading.readRecords([&](const TableRecord& record) {
      EXPECT_EQ(record.stored[0], static_cast<unsigned char>(bytes_[static_cast<std::size_t>(placeOf(given))]));
      ++given;
    });
    faults = reading.faults();
    unread = reading.unreadRecords();
    return given;
  }
  std::size_t read(FormReading::Leave leave) {
    support::BytesReader file(bytes_);
    return read(leave, file);
  }

  static constexpr int64 kTable = kRow0 + 24 + static_cast<int64>(kCount);
  std::string bytes_;
  bool whole = false;
  std::vector<Fault> faults;
  std::size_t unread = 0;
};

TEST_F(SeveralPieces, AreReadOneBehindTheOther) {
  EXPECT_EQ(read(FormReading::Leave::atFirstHindrance), kCount);
  EXPECT_TRUE(whole);
  EXPECT_EQ(unread, 0U);
  EXPECT_THAT(faults, testing::IsEmpty());
}

TEST_F(SeveralPieces, AreLeftAtTheEndOfTheOneThatHindersReading) {
  put(placeOf(7), bInfo{});
  EXPECT_EQ(read(FormReading::Leave::atFirstHindrance), kInFirstPiece);
  EXPECT_FALSE(whole);
  EXPECT_EQ(unread, kCount - kInFirstPiece);
  EXPECT_THAT(rulesOf(faults), testing::Not(testing::Contains(Rule::breaksAreFew)));
  EXPECT_EQ(read(FormReading::Leave::behindAThousandBreaks), kCount);
}

TEST_F(SeveralPieces, AreLeftBehindMoreThanAThousandBreaks) {
  for (const std::size_t broken : {std::size_t{999}, std::size_t{1000}}) {
    for (std::size_t i = 0; i < broken; ++i) {
      put(placeOf(i), bInfo{});
    }
    // The first sound record behind them does not follow either.
    EXPECT_EQ(read(FormReading::Leave::behindAThousandBreaks), broken == 999 ? kCount : kInFirstPiece);
    EXPECT_EQ(whole, broken == 999);
    EXPECT_EQ(faults[0].rule == Rule::breaksAreFew, broken == 1000);
  }
  EXPECT_EQ(faults[0].found, static_cast<int64>(kCount - kInFirstPiece));
  EXPECT_EQ(faults[0].expected, 1000);
}

TEST_F(SeveralPieces, OfWhichAllWereReadHaveNoFewBreaks) {
  for (std::size_t i = 0; i < kCount; ++i) {
    put(placeOf(i), recordOf(i));
  }
  for (std::size_t i = 2 * kInFirstPiece + 10; i < kCount; i += 2) {
    put(placeOf(i), bInfo{});  // more than a thousand breaks with what follows, all in the last piece
  }
  put(placeOf(kInFirstPiece), bInfo{});
  EXPECT_EQ(read(FormReading::Leave::behindAThousandBreaks), kCount);
  EXPECT_TRUE(whole);
  EXPECT_EQ(unread, 0U);
  EXPECT_THAT(rulesOf(faults), testing::Not(testing::Contains(Rule::breaksAreFew)));
}

/// Gives nothing from one position on, whatever its size promises.
class Shrunk final : public datasource::form::RandomAccessReader {
 public:
  Shrunk(const std::string& bytes, int64 end) : whole_(bytes), end_(end) {}
  int64 size() const override { return whole_.size(); }
  std::size_t read(void* buffer, std::size_t count, int64 position) override {
    return whole_.read(
        buffer, static_cast<std::size_t>(std::clamp<int64>(end_ - position, 0, static_cast<int64>(count))), position);
  }

 private:
  support::BytesReader whole_;
  int64 end_;
};

TEST_F(SeveralPieces, ThatTheFileDoesNotGiveAreAFault) {
  for (const int64 end : {kTable + 10, placeOf(kInFirstPiece), placeOf(3000)}) {
    Shrunk file(bytes_, end);
    const std::size_t given = read(FormReading::Leave::atFirstHindrance, file);
    EXPECT_EQ(given, end == kTable + 10 ? 0 : kInFirstPiece) << end;
    EXPECT_FALSE(whole);
    ASSERT_EQ(rulesOf(faults), std::vector<Rule>{Rule::tableIsReadable}) << end;
    EXPECT_LT(faults[0].found, faults[0].expected);
  }
}

TEST_F(SeveralPieces, ThatTheFileDoesNotGiveAreNoBreaks) {
  Shrunk file(bytes_, placeOf(3000));
  EXPECT_EQ(read(FormReading::Leave::behindAThousandBreaks, file), kInFirstPiece);
  EXPECT_EQ(rulesOf(faults), std::vector<Rule>{Rule::tableIsReadable});
}

/// Gives no two bytes at one position.
class Holed final : public datasource::form::RandomAccessReader {
 public:
  Holed(const std::string& bytes, int64 hole) : whole_(bytes), hole_(hole) {}
  int64 size() const override { return whole_.size(); }
  std::size_t read(void* buffer, std::size_t count, int64 position) override {
    return whole_.read(buffer, position == hole_ && count == 2 ? 1 : count, position);
  }

 private:
  support::BytesReader whole_;
  int64 hole_;
};

TEST_F(SeveralPieces, HideABlockThatTheFileGives) {
  // The last two are left out of the table: where the others end, a zlib stream may begin.
  put(kRow0, compressionHeading{kRow0, kTable, static_cast<int64>(tableLength(kCount - 2))});
  put(kTable, tableHeader(kBlockSize, kCount - 2));
  constexpr int64 kHidden = kTable - 2;
  bytes_.replace(static_cast<std::size_t>(kHidden), 2, "\x78\x9C");
  ASSERT_EQ(read(FormReading::Leave::atFirstHindrance), kCount - 2);
  EXPECT_THAT(rulesOf(faults), testing::ElementsAre(Rule::tableFollowsBlocks, Rule::tableHidesNoBlock));
  Holed file(bytes_, kHidden);
  EXPECT_EQ(read(FormReading::Leave::atFirstHindrance, file), kCount - 2);
  EXPECT_THAT(rulesOf(faults), testing::ElementsAre(Rule::tableFollowsBlocks));
}

}  // namespace
