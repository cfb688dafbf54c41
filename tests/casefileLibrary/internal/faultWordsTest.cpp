// The kind, the place and the words of every rule that heading and table can break.
#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "check/faultWords.h"

namespace casefile {
namespace {

using datasource::form::Rule;

constexpr int64 kRow0 = 100;
constexpr int64 kTable = 500;

// Two blocks; found and expected are 7 and 9.
Layout layout() {
  Layout layout;
  layout.place = {kRow0, false};
  layout.fileSize = 600;
  layout.heading = {kRow0, kTable, 72};
  layout.records = {{kRow0, 124, 1000, 50}, {1100, 174, 30, 20}};
  layout.logicalStarts = {kRow0, 1100};
  return layout;
}

Fault told(Rule rule, std::optional<std::size_t> block = {}) { return inPublicTerms({rule, block, 7, 9}, layout()); }

struct OfTheFile {
  Rule rule;
  FaultKind kind;
  int64 position;
  const char* words;
};

const OfTheFile kOfTheFile[] = {
    {Rule::headingIsWhole, FaultKind::headingCut, kRow0, "the file ends inside the heading"},
    {Rule::headingNamesItsPlace, FaultKind::headingPlace, kRow0, "the heading names 7 as its position"},
    {Rule::tableHasHeader, FaultKind::tableLength, kRow0, "the heading gives 72 as the table's length"},
    {Rule::tableIsWholeRecords, FaultKind::tableLength, kRow0, "the heading gives 72 as the table's length"},
    {Rule::tableLiesInFile, FaultKind::tablePlace, kRow0,
     "the position table is not in the file (72 bytes at 500, the file has 600)"},
    {Rule::tableFitsOneTransfer, FaultKind::tableTooLong, kRow0, "the position table is longer than 9 bytes"},
    {Rule::tableIsReadable, FaultKind::tableUnreadable, kTable, "the position table cannot be read to its end"},
    {Rule::headerHasMark, FaultKind::tableMark, kTable, "the position table does not begin with its mark"},
    {Rule::headerBlockSizeIsSize, FaultKind::tableBlockSize, kTable, "the position table gives 7 as the block size"},
    {Rule::headerBlockSizeIsUsual, FaultKind::tableBlockSize, kTable, "the position table gives 7 as the block size"},
    {Rule::headerCountIsCount, FaultKind::tableCount, kTable, "the position table announces 7 blocks and has 2"},
    {Rule::tableHoldsItsRecords, FaultKind::tableCount, kTable, "the position table announces 7 blocks and has 2"},
    {Rule::blocksHaveRoom, FaultKind::tableCount, kTable,
     "the position table has more records than the file has room for blocks"},
    {Rule::headerFilePosIsNought, FaultKind::tableHeaderPosition, kTable,
     "the position table's header record gives 7 as a file position, not 0"},
    {Rule::tableLiesBehindBlocks, FaultKind::tableNotAtBlocksEnd, kTable,
     "the position table lies at 7, the blocks end at 9"},
    {Rule::tableFollowsBlocks, FaultKind::tableNotAtBlocksEnd, kTable,
     "the position table lies at 7, the blocks end at 9"},
    {Rule::tableHidesNoBlock, FaultKind::hiddenBlock, 9,
     "the position table hides blocks: another one begins where its blocks end, at 9"},
    {Rule::breaksAreFew, FaultKind::tooManyBreaks, kTable,
     "the position table is damaged in more than 9 places; its last 7 records were not read"},
};

struct OfABlock {
  Rule rule;
  FaultKind kind;
  const char* words;
};

const OfABlock kOfABlock[] = {
    {Rule::recordIsPossible, FaultKind::recordImpossible, "its record gives impossible sizes"},
    {Rule::blockReachesNext, FaultKind::logicalPosition, "its size does not reach to the next block"},
    {Rule::blockStartsAtPrevious, FaultKind::logicalPosition, "its record gives 7 as its logical position, not 9"},
    {Rule::blockReachesNextInFile, FaultKind::blockPosition, "its compressed size does not reach to the next block"},
    {Rule::blockStartsAtPreviousInFile, FaultKind::blockPosition, "its record gives 7 as its file position, not 9"},
    {Rule::onlyLastBlockIsShort, FaultKind::shortBlock, "it is shorter than a block and not the last"},
};

TEST(FaultWords, OfTheFileNameHeadingOrTable) {
  for (const OfTheFile& expected : kOfTheFile) {
    SCOPED_TRACE(nameOf(expected.rule));
    const Fault fault = told(expected.rule);
    EXPECT_EQ(fault.kind, expected.kind);
    EXPECT_EQ(fault.what, expected.words);
    EXPECT_EQ(fault.filePosition, expected.position);
    EXPECT_FALSE(fault.block);
    EXPECT_FALSE(fault.range);
  }
}

TEST(FaultWords, OfABlockNameItsBytes) {
  for (const OfABlock& expected : kOfABlock) {
    for (const std::size_t block : {std::size_t{0}, std::size_t{1}}) {
      SCOPED_TRACE(nameOf(expected.rule));
      const Fault fault = told(expected.rule, block);
      EXPECT_EQ(fault.kind, expected.kind);
      EXPECT_EQ(fault.what, expected.words);
      EXPECT_EQ(fault.block, block);
      EXPECT_EQ(fault.filePosition, block == 0 ? 124 : 174);
      ASSERT_TRUE(fault.range);
      EXPECT_EQ(fault.range->start, block == 0 ? 100 : 1100);
      EXPECT_EQ(fault.range->size, block == 0 ? 1000 : 30);
    }
  }
}

TEST(FaultWords, TellWhetherTheDataCanBeReadAndWhetherThatIsDamage) {
  EXPECT_TRUE(told(Rule::headerHasMark).hindersReading);
  EXPECT_TRUE(told(Rule::headerHasMark).isDamage);
  EXPECT_FALSE(told(Rule::onlyLastBlockIsShort, 0).hindersReading);
  EXPECT_TRUE(told(Rule::onlyLastBlockIsShort, 0).isDamage);
  EXPECT_FALSE(told(Rule::tableFollowsBlocks).hindersReading);
  EXPECT_FALSE(told(Rule::tableFollowsBlocks).isDamage);
}

TEST(Layouts, EndTheirLastBlockWhereItsRecordSays) {
  Layout some = layout();
  EXPECT_EQ(some.logicalEnd(), 1130);
  EXPECT_EQ(some.blocksEnd(), 194);
  EXPECT_EQ(some.tableEnd(), 572);
  EXPECT_EQ(some.believedRange(0).size, 1000);
}

TEST(Layouts, HoldAWholeBlockWhereTheLastRecordIsNonsense) {
  for (const std::int32_t size : {0, -1, static_cast<std::int32_t>(kBlockSize) + 1}) {
    Layout some = layout();
    some.records.back().orginalSize = size;
    EXPECT_EQ(some.believedRange(1).size, static_cast<int64>(kBlockSize)) << size;
    EXPECT_EQ(some.logicalEnd(), 1100 + static_cast<int64>(kBlockSize)) << size;
    EXPECT_EQ(some.blocksEnd(), kTable) << size;
  }
  for (const std::int32_t size : {1, static_cast<std::int32_t>(kBlockSize)}) {
    Layout some = layout();
    some.records.back().orginalSize = size;
    EXPECT_EQ(some.believedRange(1).size, size);
  }
}

TEST(Layouts, WithoutBlocksEndBehindTheirHeading) {
  Layout empty = layout();
  empty.records.clear();
  empty.logicalStarts.clear();
  EXPECT_EQ(empty.logicalEnd(), kRow0);
  EXPECT_EQ(empty.blocksEnd(), kRow0 + 24);
}

TEST(Layouts, WhoseTableIsNotInTheFileEndWithIt) {
  Layout some = layout();
  some.heading._size = 100;
  EXPECT_EQ(some.tableEnd(), 600);
  some.heading._size = 101;
  EXPECT_EQ(some.tableEnd(), 600);
  some.heading._size = 99;
  EXPECT_EQ(some.tableEnd(), 599);
}

TEST(Layouts, TellTheirEndUnlessMoreThanABlockIsDamaged) {
  Layout some = layout();
  EXPECT_TRUE(some.tellsItsEnd());
  some.faults = {told(Rule::tableFollowsBlocks)};
  EXPECT_TRUE(some.tellsItsEnd());
  some.faults = {told(Rule::recordIsPossible, 0)};
  EXPECT_TRUE(some.tellsItsEnd());
  some.faults.push_back(told(Rule::headerHasMark));
  EXPECT_FALSE(some.tellsItsEnd());
}

}  // namespace
}  // namespace casefile
