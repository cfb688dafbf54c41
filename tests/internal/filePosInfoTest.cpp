#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "compressedForm.h"
#include "filePosInfo.h"
#include "support/assertionRecorder.h"
#include "support/compressedImage.h"

// The position table in its stored form: made, loaded for reading, loaded for appending.

namespace {

using support::encoded;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const bInfo kFirst{1000, 1024, 4190208, 5000};
const bInfo kSecond{4191208, 6024, 4190208, 6000};
const bInfo kLast{8381416, 12024, 77, 30};

std::string text(const bInfo& record) {
  return std::to_string(record.orginalPos) + '@' + std::to_string(record.translatePos) + ' ' +
         std::to_string(record.orginalSize) + '/' + std::to_string(record.translateSize);
}

class Table : public ::testing::Test {
 protected:
  static std::string stored(filePosInfo& table) {
    const auto [bytes, length] = table.serialise();
    return {reinterpret_cast<const char*>(bytes), length};
  }
  static std::string storedTable(const std::vector<bInfo>& records, bool swapped = false) {
    std::string bytes = encoded(bInfo{-100, 0, 0x3FF000, static_cast<std::int32_t>(records.size())}, swapped);
    for (const bInfo& record : records) {
      bytes += encoded(record, swapped);
    }
    return bytes;
  }
  bool load(const std::string& bytes, bool swap = false) {
    return table.loadForRead(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), swap);
  }
  bInfo loadToAppend(const std::string& bytes, bool swap = false) {
    return table.loadForAppend(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), swap);
  }
  std::string found(int64 position) { return text(table.find(position)); }
  void TearDown() override { EXPECT_THAT(assertions.takeTexts(), IsEmpty()); }

  support::AssertionRecorder assertions;
  filePosInfo table{0x3FF000};
};

TEST_F(Table, RecordAndHeadingHaveTheirSizesOnDisk) {
  EXPECT_EQ(sizeof(bInfo), 24U);
  EXPECT_EQ(sizeof(compressionHeading), 24U);
  const std::string highFirst("\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\2\0\0\0\3\0\0\0\4", 24);
  const std::string lowFirst("\1\0\0\0\0\0\0\0\2\0\0\0\0\0\0\0\3\0\0\0\4\0\0\0", 24);
  const bool thisIsHighFirst = std::endian::native == std::endian::big;
  EXPECT_EQ(encoded(bInfo{1, 2, 3, 4}), thisIsHighFirst ? highFirst : lowFirst);
  EXPECT_EQ(encoded(bInfo{1, 2, 3, 4}, true), thisIsHighFirst ? lowFirst : highFirst);
}

TEST_F(Table, EmptyTableIsStoredAsItsHeaderRecordAlone) {
  EXPECT_EQ(stored(table), encoded(bInfo{-100, 0, 0x3FF000, 0}));
}

TEST_F(Table, CollectedRecordsAreStoredBehindTheHeaderInTheirOrder) {
  table.add(kFirst);
  table.add(kSecond.orginalPos, kSecond.orginalSize, kSecond.translatePos, kSecond.translateSize);
  table.add(kLast);
  EXPECT_EQ(stored(table), storedTable({kFirst, kSecond, kLast}));
}

TEST_F(Table, StoringTwiceGivesTheSameAndThenWhatWasAdded) {
  table.add(kFirst);
  EXPECT_EQ(stored(table), stored(table));
  table.add(kSecond);
  EXPECT_EQ(stored(table), storedTable({kFirst, kSecond}));
}

TEST_F(Table, StoredBlockSizeIsThatOfConstruction) {
  filePosInfo other(4096);
  EXPECT_EQ(stored(other), encoded(bInfo{-100, 0, 4096, 0}));
}

TEST_F(Table, LoadingTakesOverTheStoredBlockSize) {
  EXPECT_TRUE(load(encoded(bInfo{-100, 0, 512, 0})));
  EXPECT_EQ(stored(table), encoded(bInfo{-100, 0, 512, 0}));
}

TEST_F(Table, LoadedRecordsAreFoundAsTheyWereStored) {
  EXPECT_TRUE(load(storedTable({kFirst, kSecond, kLast})));
  EXPECT_EQ(found(1000), text(kFirst));
  EXPECT_EQ(found(4191208), text(kSecond));
  EXPECT_EQ(found(8381416 + 76), text(kLast));
}

TEST_F(Table, OtherByteOrderGivesTheSameRecords) {
  EXPECT_TRUE(load(storedTable({kFirst, kSecond, kLast}, true), true));
  EXPECT_EQ(found(1000), text(kFirst));
  EXPECT_EQ(found(4191208), text(kSecond));
  EXPECT_EQ(found(8381416), text(kLast));
}

TEST_F(Table, BufferNeedsNoAlignment) {
  const std::string shifted = "x" + storedTable({kFirst, kLast});
  EXPECT_TRUE(table.loadForRead(reinterpret_cast<const unsigned char*>(shifted.data()) + 1, shifted.size() - 1, false));
  EXPECT_EQ(found(1000), text(kFirst));
}

TEST_F(Table, LoadingForReadingCollectsNothing) {
  EXPECT_TRUE(load(storedTable({kFirst, kSecond})));
  EXPECT_EQ(stored(table), storedTable({}));
}

TEST_F(Table, SecondLoadReplacesTheFirstWhateverTheirSizes) {
  EXPECT_TRUE(load(storedTable({kFirst})));
  std::vector<bInfo> many;
  for (std::int32_t i = 0; i < 1000; ++i) {
    many.push_back({1000 + i * 10, 2000 + i, 10, 1});
  }
  EXPECT_TRUE(load(storedTable(many)));
  EXPECT_EQ(found(1000 + 9990), text(many[999]));
  EXPECT_TRUE(load(storedTable({kFirst, kSecond})));
  EXPECT_EQ(found(4191208), text(kSecond));
  EXPECT_EQ(found(8381416), text(bInfo{-200, 0, 0, 0}));
}

TEST_F(Table, CountOfNoughtLoadsAndNothingIsFound) {
  EXPECT_TRUE(load(storedTable({})));
  EXPECT_EQ(table.find(1000).orginalPos, -200);
  EXPECT_EQ(table.find(0).orginalPos, -200);
}

TEST_F(Table, LoadingForAppendingGivesTheLastRecordAndCollectsTheOthers) {
  EXPECT_EQ(text(loadToAppend(storedTable({kFirst, kSecond, kLast}))), text(kLast));
  EXPECT_EQ(stored(table), storedTable({kFirst, kSecond}));
}

TEST_F(Table, LoadingForAppendingFromTheOtherByteOrderStoresTheNativeOne) {
  EXPECT_EQ(text(loadToAppend(storedTable({kFirst, kLast}, true), true)), text(kLast));
  EXPECT_EQ(stored(table), storedTable({kFirst}));
}

TEST_F(Table, LoadingForAppendingForgetsWhatWasCollected) {
  table.add(kSecond);
  EXPECT_EQ(text(loadToAppend(storedTable({kFirst, kLast}))), text(kLast));
  EXPECT_EQ(text(loadToAppend(storedTable({kFirst, kLast}))), text(kLast));
  EXPECT_EQ(stored(table), storedTable({kFirst}));
}

TEST_F(Table, LoadingForAppendingEndsFinding) {
  EXPECT_TRUE(load(storedTable({kFirst})));
  loadToAppend(storedTable({kFirst}));
  EXPECT_EQ(table.find(1000).orginalPos, -200);
  EXPECT_THAT(assertions.takeTexts(), testing::Contains("pInfoBuffer != 0"));
}

TEST_F(Table, LoadingAnEmptyTableForAppendingGivesTheHeaderRecord) {
  EXPECT_EQ(text(loadToAppend(storedTable({}))), text(bInfo{-100, 0, 0x3FF000, 0}));
  EXPECT_EQ(stored(table), storedTable({}));
}

TEST_F(Table, LoadingForAppendingWithoutABufferIsAssertedOn) {
  EXPECT_EQ(table.loadForAppend(nullptr, 0, false).orginalPos, -100) << "as of a table without blocks";
  const auto reports = assertions.take();
  ASSERT_FALSE(reports.empty());
  EXPECT_EQ(reports[0].expression, "buff != 0");
  EXPECT_EQ(reports[0].file, "Datasource/src/filePosInfo");
}

/// A stored table whose header record breaks a rule: how the check reports it, either way it is loaded.
struct BrokenHeader {
  const char* name;
  bInfo header;
  std::vector<std::string> reports;
};

class TableHeader : public Table, public ::testing::WithParamInterface<BrokenHeader> {};

TEST_P(TableHeader, IsReportedAndNothingIsFound) {
  EXPECT_FALSE(load(encoded(GetParam().header) + encoded(kFirst)));
  EXPECT_EQ(assertions.takeTexts(), GetParam().reports);
  EXPECT_EQ(table.find(1000).orginalPos, -200);
}

TEST_P(TableHeader, IsReportedAndNothingIsCollected) {
  EXPECT_EQ(loadToAppend(encoded(GetParam().header) + encoded(kFirst)).orginalPos, -200);
  EXPECT_EQ(assertions.takeTexts(), GetParam().reports);
  EXPECT_EQ(stored(table).size(), 24U);
}

TEST_P(TableHeader, SurvivesAHandlerThatThrows) {
  EXPECT_TRUE(load(storedTable({kFirst})));
  const support::AssertionRecorder throwing(support::AssertionRecorder::Then::raise);
  EXPECT_THROW(load(encoded(GetParam().header) + encoded(kFirst)), support::AssertionThrown);
  EXPECT_EQ(table.find(1000).orginalPos, -200);
}

constexpr const char* kMark = "firstRecord.orginalPos == -100";
constexpr const char* kSize = "firstRecord.orginalSize > 0";
constexpr const char* kCount = "firstRecord.translateSize >= 0";
constexpr const char* kTooMany = "ret == chInfo._size";

INSTANTIATE_TEST_SUITE_P(Broken, TableHeader,
                         ::testing::Values(BrokenHeader{"mark", {-99, 0, 0x3FF000, 1}, {kMark}},
                                           BrokenHeader{"blockSizeNought", {-100, 0, 0, 1}, {kSize}},
                                           BrokenHeader{"blockSizeNegative", {-100, 0, -1, 1}, {kSize}},
                                           BrokenHeader{"countNegative", {-100, 0, 0x3FF000, -1}, {kCount}},
                                           BrokenHeader{"allThree", {0, 0, 0, -5}, {kMark, kSize, kCount}},
                                           BrokenHeader{"oneTooMany", {-100, 0, 0x3FF000, 2}, {kTooMany}},
                                           BrokenHeader{"largestCount",
                                                        {-100, 0, 0x3FF000, std::numeric_limits<std::int32_t>::max()},
                                                        {kTooMany}}),
                         [](const auto& broken) { return std::string(broken.param.name); });

TEST_F(Table, BufferShorterThanARecordIsReported) {
  for (std::size_t length = 0; length < 24; ++length) {
    EXPECT_FALSE(load(storedTable({}).substr(0, length)));
    EXPECT_THAT(assertions.takeTexts(), testing::Not(IsEmpty()));
    EXPECT_EQ(table.find(1000).orginalPos, -200);
  }
}

TEST_F(Table, BufferCutInsideTheRecordsIsReported) {
  const std::string whole = storedTable({kFirst, kSecond, kLast});
  for (std::size_t length = 24; length < whole.size(); ++length) {
    // A buffer of its own, so that a read behind its end is noticed.
    const std::vector<unsigned char> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_FALSE(table.loadForRead(cut.data(), cut.size(), false));
    EXPECT_THAT(assertions.takeTexts(), ElementsAre(kTooMany));
  }
}

}  // namespace
