// The walk from block to block: what names the next sound one behind damage, and what lies behind the last.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "../support/damagedFiles.h"
#include "../support/sources.h"
#include "check/blockChain.h"
#include "check/blockCheck.h"
#include "check/blockSweep.h"
#include "check/layout.h"
#include "progressReport.h"
#include "sourceReader.h"
#include "support/compressedImage.h"

namespace casefile {
namespace {

using datasource::form::StreamFacts;
using support::Image;
using support::kBlock;
using support::zipped;

constexpr int64 kRow0 = 10;

class Chains : public testing::Test {
 protected:
  BlockChain beyondGaps(const std::string& bytes) {
    SourceReader source(std::make_shared<support::ScriptedSource>(bytes));
    return followBeyondGaps(source, readLayout(source, {kRow0, false}, report_), 1, report_);
  }
  BlockChain followed(const std::string& bytes) {
    SourceReader source(std::make_shared<support::ScriptedSource>(bytes));
    return followBlocks(source, kRow0, report_);
  }
  static std::vector<std::int32_t> sizes(const BlockChain& chain) {
    std::vector<std::int32_t> all;
    for (const bInfo& record : chain.records) {
      all.push_back(record.orginalSize);
    }
    return all;
  }

  ProgressReport report_{{}, "f", "recover"};
};

TEST_F(Chains, GoOnBehindAGapWhereTheTableNamesASoundBlock) {
  const Image sound = Image::of(kRow0, {1000, 500, 1000, 200, 100});
  struct Case {
    std::vector<std::size_t> broken;
    std::size_t blocks;  // of the gap
    int64 bytes;
    std::vector<std::int32_t> kept;
  };
  const std::vector<Case> cases = {{{0}, 1, 1000, {500, 1000, 200, 100}},
                                   {{1}, 1, 500, {1000, 1000, 200, 100}},
                                   {{1, 2}, 2, 1500, {1000, 200, 100}},
                                   {{0, 1, 2, 3}, 4, 2700, {100}}};
  for (const Case& of : cases) {
    Image image = sound;
    for (const std::size_t block : of.broken) {
      support::breakBlock(image, block);
    }
    const BlockChain chain = beyondGaps(image.bytes());
    EXPECT_EQ(sizes(chain), of.kept);
    ASSERT_EQ(chain.gaps.size(), 1U);
    const BlockGap& gap = chain.gaps[0];
    EXPECT_EQ(gap.blocks, of.blocks);
    EXPECT_EQ(gap.range.start, image.records[of.broken[0]].orginalPos);
    EXPECT_EQ(gap.range.size, of.bytes);
    EXPECT_EQ(gap.filePosition, image.records[of.broken[0]].translatePos);
    EXPECT_EQ(gap.nextKept, of.broken[0]);
    EXPECT_NE(gap.why, "");
    EXPECT_EQ(chain.blocks, 5U);
    EXPECT_EQ(chain.logicalEnd, kRow0 + 2800);
    EXPECT_EQ(chain.fileEnd, image.heading._infoPos);
    const BlockChain first = upToFirstGap(chain);
    EXPECT_EQ(first.blocks, of.broken[0]);
    EXPECT_EQ(first.records.size(), of.broken[0]);
    EXPECT_EQ(first.fileEnd, gap.filePosition);
    EXPECT_EQ(first.logicalEnd, gap.range.start);
    EXPECT_EQ(first.fault, gap.why);
    EXPECT_EQ(first.row0, kRow0);
  }
}

TEST_F(Chains, TakeNoRecordOfABlockThatLiesElsewhere) {
  Image image = Image::of(kRow0, {1000, 500, 300});
  image.records[1] = image.records[2];
  EXPECT_EQ(sizes(beyondGaps(image.bytes())), (std::vector<std::int32_t>{1000, 500, 300}));
}

TEST_F(Chains, TellTheProgramOfEachByteOnce) {
  Image image = Image::of(kRow0, {1000, 500, 300, 200});
  support::breakBlock(image, 1);
  image.records[3].orginalSize = 0;
  const std::string bytes = image.bytes();
  std::vector<Progress> told;
  ProgressReport report(
      [&](const Progress& progress) {
        told.push_back(progress);
        return Next::proceed;
      },
      "f", "recover");
  SourceReader source(std::make_shared<support::ScriptedSource>(bytes));
  const Layout layout = readLayout(source, {kRow0, false}, report);
  ASSERT_TRUE(told.empty());
  BlockSweep(source, layout, report).run(1);
  std::vector<std::int64_t> done;
  std::int64_t sum = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    sum += i < 3 ? image.records[i].translateSize : 0;
    done.push_back(sum);
  }
  ASSERT_EQ(told.size(), done.size());
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(told[i].bytesDone, done[i]);
    EXPECT_EQ(told[i].bytesInAll, sum) << "blocks whose records cannot be used are not looked into";
  }
  told.clear();
  followBeyondGaps(source, layout, 1, report);
  ASSERT_GT(told.size(), 4U);
  EXPECT_EQ(told[4].bytesDone, image.records[0].translateSize);
  EXPECT_EQ(told[5].bytesDone, image.records[0].translateSize + image.records[1].translateSize) << "the gap";
  EXPECT_EQ(told.back().bytesDone, static_cast<std::int64_t>(bytes.size()));
  EXPECT_EQ(told.back().bytesInAll, static_cast<std::int64_t>(bytes.size()));
}

TEST_F(Chains, SweepAnyNumberOfBlocksAndListAThousandFaults) {
  Layout layout;
  layout.records.assign(1001, bInfo{0, 0, 10, 5});
  layout.logicalStarts.assign(1001, 0);
  SourceReader source(std::make_shared<support::ScriptedSource>("....."));
  const SweptBlocks swept = BlockSweep(source, layout, report_).run(1);
  EXPECT_EQ(std::count(swept.damaged.begin(), swept.damaged.end(), true), 1001);
  ASSERT_EQ(swept.faults.size(), 1000U);
  EXPECT_TRUE(swept.faults[0].isDamage);
  EXPECT_TRUE(swept.faults[0].hindersReading);
}

TEST_F(Chains, EndWhereNothingNamesABlockBehind) {
  Image image = Image::of(kRow0, {1000, 500});
  support::breakBlock(image, 1);
  const BlockChain chain = beyondGaps(image.bytes());
  EXPECT_TRUE(chain.gaps.empty());
  EXPECT_EQ(chain.blocks, 1U);
  EXPECT_EQ(chain.logicalEnd, kRow0 + 1000);
  EXPECT_EQ(chain.fileEnd, image.records[1].translatePos);
  EXPECT_THAT(chain.fault, testing::StartsWith("the zlib stream"));
  EXPECT_EQ(upToFirstGap(chain).records.size(), 1U);
}

TEST_F(Chains, GoOnToNoBlockThatLiesInFront) {
  Image image = Image::of(kRow0, {1000, 500, 1000, 200});
  image.records[2].translatePos = image.records[0].translatePos;
  image.records[2].translateSize = image.records[0].translateSize;
  support::breakBlock(image, 1);
  const BlockChain chain = beyondGaps(image.bytes());
  EXPECT_EQ(sizes(chain), (std::vector<std::int32_t>{1000, 200}));
  ASSERT_EQ(chain.gaps.size(), 1U);
  EXPECT_EQ(chain.gaps[0].blocks, 2U);
  EXPECT_EQ(chain.gaps[0].range.size, 1500);
}

// A record that lies where whole blocks would have brought it says that those before it are whole.
TEST_F(Chains, GoOnToNoBlockThatIsFartherThanThoseBetweenAreLong) {
  for (const int64 tooFar : {0, 1}) {
    const auto length = static_cast<int64>(kBlock);
    Image image = Image::of(kRow0, {1000, 500, 300});
    image.records[0].orginalSize = static_cast<std::int32_t>(length - tooFar);
    image.records[1].orginalPos = kRow0 + length - tooFar;
    image.records[2].orginalPos = kRow0 + 2 * length;
    image.blocks[0] = zipped(support::caseBytes(kRow0, kBlock - static_cast<std::size_t>(tooFar)));
    const auto grown = static_cast<std::int32_t>(image.blocks[0].size());
    const std::int32_t more = grown - image.records[0].translateSize;
    image.records[0].translateSize = grown;
    image.records[1].translatePos += more;
    image.records[2].translatePos += more;
    image.heading._infoPos += more;
    support::breakBlock(image, 1);
    const BlockChain chain = beyondGaps(image.bytes());
    EXPECT_EQ(chain.gaps.size(), tooFar == 0 ? 1U : 0U);
    EXPECT_EQ(chain.blocks, tooFar == 0 ? 3U : 1U);
  }
}

class ChainsWithoutATable : public Chains {
 protected:
  /// Dictionary part, a heading that names no table, and blocks.
  static std::string fileOf(const std::string& blocks) {
    return support::dictionaryBytes(kRow0) + support::encoded(compressionHeading{kRow0, 0, 0}) + blocks;
  }
  static std::string wrongAtItsEnd() {
    std::string bytes = zipped(support::caseBytes(kRow0, 1000));
    bytes.back() = static_cast<char>(bytes.back() ^ 1);
    return bytes;
  }
};

TEST_F(ChainsWithoutATable, GoOnBehindAStreamThatIsWrongAtItsEnd) {
  const std::string wrong = wrongAtItsEnd();
  for (const std::size_t size : {std::size_t{1}, std::size_t{300}}) {
    const BlockChain chain = beyondGaps(fileOf(wrong + zipped(std::string(size, 'x'))));
    ASSERT_EQ(chain.gaps.size(), 1U) << size;
    EXPECT_EQ(chain.gaps[0].blocks, 1U);
    EXPECT_EQ(chain.gaps[0].range.start, kRow0);
    EXPECT_EQ(chain.gaps[0].range.size, support::kBlockLength) << "one that is not the last is whole";
    EXPECT_EQ(chain.gaps[0].filePosition, kRow0 + 24);
    EXPECT_EQ(sizes(chain), std::vector<std::int32_t>{static_cast<std::int32_t>(size)});
    EXPECT_EQ(chain.blocks, 2U);
    EXPECT_EQ(chain.logicalEnd, kRow0 + support::kBlockLength + static_cast<int64>(size));
  }
}

TEST_F(ChainsWithoutATable, GoOnBehindAStreamOfOneByte) {
  std::string wrong = zipped("x");
  wrong.back() = static_cast<char>(wrong.back() ^ 1);
  EXPECT_EQ(beyondGaps(fileOf(wrong + zipped("y"))).gaps.size(), 1U);
}

TEST_F(ChainsWithoutATable, EndWhereNoSoundBlockFollows) {
  const std::string wrong = wrongAtItsEnd();
  const std::vector<std::string> ends = {wrong,
                                         wrong + zipped(""),
                                         wrong + wrong,
                                         wrong + "??",
                                         "??" + zipped("never reached"),
                                         "?" + zipped("never reached")};
  for (const std::string& blocks : ends) {
    const BlockChain chain = beyondGaps(fileOf(blocks));
    EXPECT_TRUE(chain.gaps.empty());
    EXPECT_TRUE(chain.records.empty());
    EXPECT_EQ(chain.fileEnd, kRow0 + 24);
    EXPECT_NE(chain.fault, "");
  }
}

TEST_F(ChainsWithoutATable, HoldNoEmptyBlock) {
  const BlockChain chain = followed(fileOf(zipped("a") + zipped("") + zipped("b")));
  EXPECT_EQ(sizes(chain), std::vector<std::int32_t>{1});
  EXPECT_EQ(chain.fault, "an empty zlib stream");
  EXPECT_EQ(chain.fileEnd, kRow0 + 24 + static_cast<int64>(zipped("a").size()));
}

TEST_F(ChainsWithoutATable, EndAtTheFirstWrongStreamWhereNoGapIsAskedFor) {
  const BlockChain chain = followed(fileOf(wrongAtItsEnd() + zipped("x")));
  EXPECT_TRUE(chain.records.empty());
  EXPECT_TRUE(chain.gaps.empty());
}

TEST_F(ChainsWithoutATable, EndWithTheFile) {
  const BlockChain chain = followed(fileOf(zipped("a") + zipped("bc")));
  EXPECT_EQ(sizes(chain), (std::vector<std::int32_t>{1, 2}));
  EXPECT_EQ(chain.fault, "");
  EXPECT_EQ(chain.row0, kRow0);
  EXPECT_EQ(chain.records[1].orginalPos, kRow0 + 1);
  EXPECT_EQ(chain.records[1].translatePos, kRow0 + 24 + static_cast<int64>(zipped("a").size()));
}

TEST_F(Chains, AreSweptBlockByBlock) {
  for (const std::size_t threads : {1U, 2U}) {
    Image image = Image::of(kRow0, {1000, 500, 300, 200});
    support::breakBlock(image, 0);
    image.records[1].orginalSize = 0;
    SourceReader source(std::make_shared<support::ScriptedSource>(image.bytes()));
    const Layout layout = readLayout(source, {kRow0, false}, report_);
    const SweptBlocks swept = BlockSweep(source, layout, report_).run(threads);
    EXPECT_THAT(swept.damaged, testing::ElementsAre(true, true, false, false));
    ASSERT_EQ(swept.faults.size(), 1U) << "what has no record that can be used is not looked into";
    EXPECT_EQ(swept.faults[0].block, 0U);
    EXPECT_EQ(swept.faults[0].filePosition, image.records[0].translatePos);
    EXPECT_TRUE(swept.faults[0].isDamage);
  }
}

class BlockChecks : public testing::Test {
 protected:
  /// What is wrong with a block that has this record.
  static std::optional<StreamFault> faultOf(const std::string& bytes, std::int32_t plainSize, std::size_t size) {
    SourceReader source(std::make_shared<support::ScriptedSource>(bytes + "more bytes than it has"));
    return BlockCheck(source).faultOf(bInfo{0, 0, plainSize, static_cast<std::int32_t>(size)});
  }
};

TEST_F(BlockChecks, TellHowARecordAndItsBlockDiffer) {
  const std::string block = zipped(support::caseBytes(0, 1000));
  EXPECT_FALSE(faultOf(block, 1000, block.size()));
  std::string wrongAtItsEnd = block;
  wrongAtItsEnd.back() = static_cast<char>(wrongAtItsEnd.back() ^ 1);
  struct Case {
    const std::string& bytes;
    std::int32_t plainSize;
    std::size_t size;
    FaultKind kind;
  };
  const Case cases[] = {{block, 1000, block.size() + 3, FaultKind::streamSize},
                        {block, 999, block.size(), FaultKind::plainSize},
                        {block, 1001, block.size(), FaultKind::plainSize},
                        {block, 1000, block.size() - 20, FaultKind::streamCut},
                        {wrongAtItsEnd, 1000, block.size(), FaultKind::streamDamaged},
                        {wrongAtItsEnd, 1000, block.size() + 3, FaultKind::streamDamaged}};
  for (const Case& of : cases) {
    const auto fault = faultOf(of.bytes, of.plainSize, of.size);
    ASSERT_TRUE(fault) << of.plainSize << ", " << of.size;
    EXPECT_EQ(fault->kind, of.kind) << fault->what;
  }
}

TEST_F(BlockChecks, GiveTheCodecsWordsWhereItHasAny) {
  StreamFacts facts;
  facts.verdict = datasource::form::Verdict::damaged;
  EXPECT_EQ(casefile::faultOf(facts)->what, "the zlib stream is damaged");
  facts.damage = "of some kind";
  EXPECT_EQ(casefile::faultOf(facts)->what, "the zlib stream is damaged: of some kind");
}

class Remainders : public testing::Test {
 protected:
  static Remainder behind(const std::string& bytes, int64 end) {
    SourceReader source(std::make_shared<support::ScriptedSource>(bytes));
    BlockChain chain;
    chain.fileEnd = end;
    return remainderBehind(source, chain);
  }
};

TEST_F(Remainders, AreATableWhateverIsLeftOfIt) {
  for (const bool swapped : {false, true}) {
    Image image = Image::of(kRow0, {1000});
    image.swapped = swapped;
    const std::string table = image.table();
    for (std::size_t left = 0; left <= table.size(); ++left) {
      const Remainder rest = behind("..." + table.substr(0, left), 3);
      EXPECT_EQ(rest.bytes, static_cast<int64>(left));
      EXPECT_EQ(rest.isTable, left > 0);
      EXPECT_EQ(rest.swapped, left > 0 && swapped && left <= table.size()) << left;
    }
  }
}

TEST_F(Remainders, AreNoTableWithoutItsMark) {
  const std::string table = Image::of(kRow0, {1000}).table();
  for (std::size_t at = 0; at < 24; ++at) {
    std::string bent = table;
    bent[at] = static_cast<char>(bent[at] ^ 1);
    EXPECT_EQ(behind(bent, 0).isTable, at >= 16) << at;
  }
}

TEST_F(Remainders, AreNothingBehindTheFile) {
  const Remainder rest = behind("...", 10);
  EXPECT_EQ(rest.bytes, 0);
  EXPECT_FALSE(rest.isTable);
}

}  // namespace
}  // namespace casefile
