#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "compressedForm.h"
#include "filePosInfo.h"
#include "support/assertionRecorder.h"
#include "support/compressedImage.h"
#include "support/deadline.h"

// Which block holds a logical position.

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::int32_t kSize = 100;
constexpr int64 kLargest = std::numeric_limits<int64>::max();
constexpr int64 kSmallest = std::numeric_limits<int64>::min();

class TableFind : public ::testing::Test {
 protected:
  /// Loads `records` into a table of blocks of 100 bytes.
  void load(const std::vector<bInfo>& records, std::int32_t blockSize = kSize) {
    loaded = records;
    std::string bytes = support::encoded(bInfo{-100, 0, blockSize, static_cast<std::int32_t>(records.size())});
    for (const bInfo& record : records) {
      bytes += support::encoded(record);
    }
    ASSERT_TRUE(table.loadForRead(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), false));
  }
  /// `count` blocks from position `start` on, all of `kSize` bytes but the last.
  static std::vector<bInfo> regular(int64 start, int count, std::int32_t lastSize) {
    std::vector<bInfo> records;
    for (int i = 0; i < count; ++i) {
      records.push_back({start + i * kSize, 5000 + i, i + 1 < count ? kSize : lastSize, 1});
    }
    return records;
  }
  /// The index of the block that find answers with; -1 for none.
  int foundAt(int64 position) {
    const bInfo answer = table.find(position);
    if (answer.orginalPos == -200) {
      return -1;
    }
    return static_cast<int>(answer.translatePos - 5000);
  }
  /// The index of a block that holds the position, by looking at all of them; -1 for none.
  int naive(int64 position) const {
    for (const bInfo& record : loaded) {
      if (position >= record.orginalPos && position - record.orginalPos < record.orginalSize) {
        return static_cast<int>(record.translatePos - 5000);
      }
    }
    return -1;
  }
  void TearDown() override { EXPECT_THAT(assertions.takeTexts(), IsEmpty()); }

  support::AssertionRecorder assertions;
  filePosInfo table{static_cast<std::size_t>(kSize)};
  std::vector<bInfo> loaded;
};

TEST_F(TableFind, EveryPositionOfASmallTableIsInItsBlock) {
  load(regular(250, 5, 30));
  for (int64 position = 0; position < 800; ++position) {
    ASSERT_EQ(foundAt(position), naive(position)) << position;
  }
}

TEST_F(TableFind, FirstAndLastByteOfTheLastBlockAreInIt) {
  load(regular(50, 4, 30));
  EXPECT_EQ(foundAt(350), 3);
  EXPECT_EQ(foundAt(379), 3);
}

TEST_F(TableFind, LastBlockSendsTheExpectationBackToTheStart) {
  load(regular(50, 4, 30));
  EXPECT_EQ(foundAt(379), 3);
  EXPECT_EQ(foundAt(50), 0);
  EXPECT_EQ(foundAt(150), 1);
}

TEST_F(TableFind, OneByteBehindTheLastBlockIsNowhere) {
  load(regular(50, 4, 30));
  EXPECT_EQ(foundAt(380), -1);
  EXPECT_EQ(foundAt(49), -1);
  EXPECT_EQ(foundAt(-1), -1);
  EXPECT_EQ(foundAt(kLargest), -1);
  EXPECT_EQ(foundAt(kSmallest), -1);
}

TEST_F(TableFind, BlocksInOrderAreFoundOneBehindTheOther) {
  load(regular(50, 1000, 100));
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(foundAt(50 + i * kSize), i);
  }
}

TEST_F(TableFind, BlocksInReverseOrderAreFoundToo) {
  load(regular(50, 1000, 1));
  for (int i = 999; i >= 0; --i) {
    ASSERT_EQ(foundAt(50 + i * kSize), i);
  }
}

TEST_F(TableFind, WhatWasAskedBeforeDoesNotMatter) {
  load(regular(1, 7, 5));
  for (int64 before = 0; before < 620; before += 7) {
    for (int64 position = 0; position < 620; position += 13) {
      table.find(before);
      ASSERT_EQ(foundAt(position), naive(position)) << before << ' ' << position;
    }
  }
}

TEST_F(TableFind, FirstBlockFarBehindTheStartOfTheFileIsFound) {
  load(regular(1'000'000, 3, 50));
  EXPECT_EQ(foundAt(1'000'000), 0);
  EXPECT_EQ(foundAt(1'000'150), 1);
  EXPECT_EQ(foundAt(1'000'249), 2);
  EXPECT_EQ(foundAt(999'999), -1);
}

TEST_F(TableFind, PositionsBeyondFourGibibytesAreFound) {
  load(regular(5'000'000'000'000, 9, 50));
  for (const int64 distance : {0, 99, 100, 450, 799, 849, 850}) {
    EXPECT_EQ(foundAt(5'000'000'000'000 + distance), naive(5'000'000'000'000 + distance));
  }
}

TEST_F(TableFind, ShortBlocksInTheMiddleAreFound) {
  load({{10, 5000, 100, 1}, {110, 5001, 3, 1}, {113, 5002, 1, 1}, {114, 5003, 100, 1}, {214, 5004, 9, 1}});
  for (int64 position = 0; position < 240; ++position) {
    ASSERT_EQ(foundAt(position), naive(position)) << position;
  }
}

TEST_F(TableFind, TableThatWasNeverLoadedIsAssertedOn) {
  EXPECT_EQ(table.find(100).orginalPos, -200);
  const auto reports = assertions.take();
  ASSERT_FALSE(reports.empty());
  EXPECT_EQ(reports[0].expression, "pInfoBuffer != 0");
  EXPECT_EQ(reports[0].file, "Datasource/src/filePosInfo");
}

TEST_F(TableFind, FirstBlockAtPositionNoughtIsAssertedOn_KeptAsIs) {
  load({{0, 5000, 100, 1}});
  table.find(10);
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "pInfoBuffer->orginalPos != 0");
  EXPECT_EQ(reports[0].file, "Datasource/src/filePosInfo");
}

TEST_F(TableFind, GapsBetweenBlocksHoldNothing) {
  load({{100, 5000, 50, 1}, {300, 5001, 50, 1}, {500, 5002, 50, 1}, {900, 5003, 50, 1}});
  for (int64 position = 90; position < 1000; ++position) {
    const bInfo answer = table.find(position);
    ASSERT_TRUE(answer.orginalPos == -200 || naive(position) == -1 || holds(answer, position)) << position;
    if (naive(position) >= 0) {
      ASSERT_EQ(foundAt(position), naive(position)) << position;
    }
  }
}

/// Records that no writer makes. What is answered is free, but it must be one of them, or none, and no byte
/// outside the array may be touched.
class TableFindHostile : public TableFind {
 protected:
  void expectOwnAnswers(const std::vector<int64>& positions) {
    for (const int64 position : positions) {
      const int index = foundAt(position);
      EXPECT_GE(index, -1) << position;
      EXPECT_LT(index, static_cast<int>(loaded.size())) << position;
    }
  }
  const std::vector<int64> probes{kSmallest, -1, 0, 1, 99, 100, 150, 250, 1000, kLargest - 100, kLargest - 1, kLargest};
};

TEST_F(TableFindHostile, OverlappingRecordsStayInsideTheTable) {
  load({{100, 5000, 500, 1}, {150, 5001, 500, 1}, {160, 5002, 10, 1}, {700, 5003, 10, 1}});
  expectOwnAnswers(probes);
}

TEST_F(TableFindHostile, UnorderedRecordsStayInsideTheTable) {
  load({{700, 5000, 10, 1}, {100, 5001, 50, 1}, {900, 5002, 1, 1}, {50, 5003, 10, 1}});
  expectOwnAnswers(probes);
  load({{1, 5000, 1, 1}, {5000, 5001, 1, 1}, {2, 5002, 1, 1}, {9000, 5003, 1, 1}});
  expectOwnAnswers(probes);
}

TEST_F(TableFindHostile, SumsBeyondTheLargestPositionDoNotOverflow) {
  load({{kLargest - 50, 5000, 100, 1}, {kLargest, 5001, std::numeric_limits<std::int32_t>::max(), 1}});
  expectOwnAnswers(probes);
}

TEST_F(TableFindHostile, NegativeSizesAndPositionsHoldNothing) {
  load({{kSmallest, 5000, -1, 1}, {-500, 5001, -100, 1}, {100, 5002, 0, 1}, {120, 5003, -2147483647, 1}});
  expectOwnAnswers(probes);
}

TEST_F(TableFindHostile, BlockSizeOfOneDoesNotLeadOutOfTheTable) {
  load(regular(100, 3, 10), 1);
  for (int64 position = 90; position < 400; ++position) {
    ASSERT_EQ(foundAt(position), naive(position)) << position;
  }
}

TEST_F(TableFind, RandomTablesAgreeWithASearchOfAllBlocks) {
  const unsigned int seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937_64 random(seed);
  const auto upTo = [&random](int64 limit) { return static_cast<int64>(random() % static_cast<std::uint64_t>(limit)); };
  for (int round = 0; round < 300; ++round) {
    const bool allWhole = upTo(2) == 0;
    int64 position = 1 + upTo(round % 3 == 0 ? 8'000'000'000 : 500);
    const int64 start = position;
    std::vector<bInfo> records;
    const int64 count = 1 + upTo(60);
    for (int64 i = 0; i < count; ++i) {
      const bool whole = allWhole && i + 1 < count;
      const auto size = static_cast<std::int32_t>(whole ? kSize : 1 + upTo(kSize));
      records.push_back({position, 5000 + i, size, 1});
      position += size;
    }
    load(records);
    for (int i = 0; i < 100; ++i) {
      const int64 asked = start - 5 + upTo(position - start + 10);
      ASSERT_EQ(foundAt(asked), naive(asked)) << "round " << round << ", position " << asked;
    }
  }
}

TEST_F(TableFind, TwoThreadsMayFindAtOnce) {
  const support::Deadline deadline("TableFind.TwoThreadsMayFindAtOnce");
  load(regular(50, 200, 40));
  const auto findAll = [this](int64 step) {
    for (int64 i = 0; i < 20'000; ++i) {
      const int64 position = 50 + (i * step) % 19'000;
      ASSERT_EQ(foundAt(position), static_cast<int>((position - 50) / kSize));
    }
  };
  std::thread other([&] { findAll(7919); });
  findAll(100);
  other.join();
}

}  // namespace
