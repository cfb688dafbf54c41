#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "formReading.h"

// What the records of a table say of each other: which block a wrong number belongs to, and how many are listed.

namespace {

using datasource::form::ChainCheck;
using datasource::form::Fault;
using datasource::form::Rule;

constexpr int64 kRow0 = 100;
constexpr auto kWhole = static_cast<std::int32_t>(kBlockSize);
constexpr int64 kFirstInFile = kRow0 + static_cast<int64>(kHeadingSize);

bInfo record(int64 logicalPos, std::int32_t size, int64 filePos, std::int32_t compressedSize) {
  bInfo made{};
  made.orginalPos = logicalPos;
  made.orginalSize = size;
  made.translatePos = filePos;
  made.translateSize = compressedSize;
  return made;
}

/// Two whole blocks of 50 and 60 bytes in the file and a short one of 10.
std::vector<bInfo> soundChain() {
  return {record(kRow0, kWhole, kFirstInFile, 50), record(kRow0 + kWhole, kWhole, kFirstInFile + 50, 60),
          record(kRow0 + int64{2} * kWhole, 7, kFirstInFile + 110, 10)};
}
constexpr int64 kTablePos = kFirstInFile + 120;

ChainCheck checked(const std::vector<bInfo>& records, int64 fileSize = kTablePos) {
  ChainCheck chain(kRow0, kTablePos, fileSize, records.size());
  for (const bInfo& each : records) {
    chain.take(each);
  }
  chain.finish();
  return chain;
}

void expectOneFault(ChainCheck chain, Rule rule, std::size_t block, int64 found, int64 expected) {
  ASSERT_EQ(chain.faults().size(), 1U);
  const Fault& fault = chain.faults().front();
  EXPECT_EQ(fault.rule, rule);
  EXPECT_EQ(fault.block, std::optional<std::size_t>(block));
  EXPECT_EQ(fault.found, found);
  EXPECT_EQ(fault.expected, expected);
}

TEST(FormReadingChain, RecordsThatFollowEachOtherHaveNoFaultAndNoBreak) {
  ChainCheck chain = checked(soundChain());
  EXPECT_TRUE(chain.faults().empty());
  EXPECT_EQ(chain.breaks(), 0U);
  EXPECT_EQ(chain.unlistedFaults(), 0U);
}

TEST(FormReadingChain, LastBlockMayEndWithTheFileButNotBehindIt) {
  EXPECT_TRUE(checked(soundChain(), kTablePos).faults().empty());
  expectOneFault(checked(soundChain(), kTablePos - 1), Rule::recordIsPossible, 2, 10, 0);
}

TEST(FormReadingChain, CompressedSizeThatTheNextTwoBlocksContradictIsTheBlocksOwnFault) {
  std::vector<bInfo> records = soundChain();
  records[0].translateSize = 49;
  expectOneFault(checked(records), Rule::blockReachesNextInFile, 0, kFirstInFile + 49, kFirstInFile + 50);
}

TEST(FormReadingChain, FilePositionThatBothNeighboursContradictIsTheBlocksOwnFault) {
  std::vector<bInfo> records = soundChain();
  records[1].translatePos += 1;
  expectOneFault(checked(records), Rule::blockStartsAtPreviousInFile, 1, kFirstInFile + 51, kFirstInFile + 50);
}

TEST(FormReadingChain, FirstBlockThatStartsElsewhereInTheFileHasNoBlockBeforeItToBlame) {
  std::vector<bInfo> records = soundChain();
  records[0].translatePos += 1;
  records[0].translateSize -= 1;
  expectOneFault(checked(records), Rule::blockStartsAtPreviousInFile, 0, kFirstInFile + 1, kFirstInFile);
}

TEST(FormReadingChain, LogicalStartOffTheSumAndTheGridIsTheBlocksOwnFaultAndItsNeighboursTellTheTrueOne) {
  std::vector<bInfo> records = soundChain();
  records[1].orginalPos += 1;
  ChainCheck chain(kRow0, kTablePos, kTablePos, records.size());
  EXPECT_EQ(chain.take(records[0]), kRow0);
  EXPECT_EQ(chain.take(records[1]), kRow0 + kWhole);
  EXPECT_EQ(chain.take(records[2]), kRow0 + int64{2} * kWhole);
  EXPECT_EQ(chain.breaks(), 2U);
  EXPECT_EQ(chain.finish(), kTablePos);
  expectOneFault(chain, Rule::blockStartsAtPrevious, 1, kRow0 + kWhole + 1, kRow0 + kWhole);
}

TEST(FormReadingChain, SizeThatTheNextBlockOnTheGridContradictsIsTheBlocksOwnFaultAndTheRestFollows) {
  std::vector<bInfo> records = soundChain();
  records[0].orginalSize = 1000;
  ChainCheck chain = checked(records);
  ASSERT_EQ(chain.faults().size(), 2U);
  EXPECT_EQ(chain.faults()[0].rule, Rule::onlyLastBlockIsShort);
  const Fault& reach = chain.faults()[1];
  EXPECT_EQ(reach.rule, Rule::blockReachesNext);
  EXPECT_EQ(reach.block, std::optional<std::size_t>(0));
  EXPECT_EQ(reach.found, kRow0 + 1000);
  EXPECT_EQ(reach.expected, kRow0 + kWhole);
}

TEST(FormReadingChain, AThousandFaultsAreListedAndOnlyTheNextOneIsCounted) {
  const bInfo impossible = record(kRow0, 0, kFirstInFile, 0);
  const auto faultsOf = [&](std::size_t count) {
    ChainCheck chain(kRow0, kTablePos, kTablePos, count);
    for (std::size_t i = 0; i < count; ++i) {
      bInfo each = impossible;
      each.orginalPos += static_cast<int64>(i) * kWhole;
      chain.take(each);
    }
    chain.finish();
    return chain;
  };
  ChainCheck thousand = faultsOf(1000);
  EXPECT_EQ(thousand.faults().size(), 1000U);
  EXPECT_EQ(thousand.unlistedFaults(), 0U);
  EXPECT_FALSE(thousand.unlistedHinder());
  ChainCheck oneMore = faultsOf(1001);
  EXPECT_EQ(oneMore.faults().size(), 1000U);
  EXPECT_EQ(oneMore.unlistedFaults(), 1U);
  EXPECT_TRUE(oneMore.unlistedHinder());
}

}  // namespace
