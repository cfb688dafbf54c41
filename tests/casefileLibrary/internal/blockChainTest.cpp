// The walk from block to block: what names the next sound one behind damage, and what lies behind the last.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "../support/damagedFiles.h"
#include "../support/sources.h"
#include "check/blockChain.h"
#include "check/blockSweep.h"
#include "check/layout.h"
#include "progressReport.h"
#include "sourceReader.h"
#include "support/compressedImage.h"

namespace casefile {
namespace {

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

TEST_F(Chains, EndWhereNothingNamesABlockBehind) {
  Image image = Image::of(kRow0, {1000, 500});
  support::breakBlock(image, 1);
  const BlockChain chain = beyondGaps(image.bytes());
  EXPECT_TRUE(chain.gaps.empty());
  EXPECT_EQ(chain.blocks, 1U);
  EXPECT_EQ(chain.logicalEnd, kRow0 + 1000);
  EXPECT_EQ(chain.fileEnd, image.records[1].translatePos);
  EXPECT_NE(chain.fault, "");
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
