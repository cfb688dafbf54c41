#include <algorithm>
#include <cstddef>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "blockReader.h"
#include "formReading.h"
#include "support/bytesReader.h"
#include "support/compressedHostileTest.h"

// The library reads a file exactly when no rule of its form is broken that hinders reading.

namespace {

using datasource::form::BlockState;
using datasource::form::FormReading;
using datasource::form::TableRecord;
using support::BytesReader;
using support::Image;
using support::kBlock;
using support::kRow0;

class FormAgreement : public support::HostileTest {
 protected:
  /// What the rules say of a file.
  struct Judgement {
    bool reads = false;
    std::vector<std::string> broken;
  };

  Judgement judge(const std::string& bytes, bool swapped = false) {
    BytesReader reader(bytes);
    FormReading form(reader, kRow0, swapped, FormReading::Leave::behindAThousandBreaks);
    std::vector<bInfo> records;
    if (form.readHeading() && form.readTableHeader()) {
      form.readRecords([&](const TableRecord& record) { records.push_back(record.record); });
    }
    Judgement judgement;
    for (const auto& fault : form.faults()) {
      judgement.broken.emplace_back(nameOf(fault.rule));
    }
    judgement.reads = firstHindrance(form.faults()) == nullptr && allSound(reader, records);
    return judgement;
  }

  /// Checks that library and rules say the same of a file. Returns: what they say.
  bool agree(const std::string& bytes, const Image& image) {
    folder.writePlain("f", bytes);
    const Judgement judgement = judge(bytes, image.swapped);
    const Outcome outcome = readBlocks("f", image, 0, false);
    EXPECT_TRUE(outcome.allDelivered || !outcome.reports.empty());
    EXPECT_EQ(outcome.allDelivered && outcome.reports.empty(), judgement.reads)
        << ::testing::PrintToString(judgement.broken);
    return judgement.reads;
  }

  /// Every value that a byte can have.
  static std::vector<int> allValues(int /*before*/) {
    std::vector<int> values(256);
    std::iota(values.begin(), values.end(), 0);
    return values;
  }
  /// The values at the edges, and those next to the byte's own.
  static std::vector<int> someValues(int before) {
    return {0, 1, 0x7F, 0x80, 0xFF, before, before ^ 1, before ^ 0x80, (before + 1) & 0xFF, (before - 1) & 0xFF};
  }

  /// Gives `count` bytes of the file from `from` on, one after the other, the values that `valuesFor` chooses.
  void sweep(const Image& image, int64 from, std::size_t count, std::vector<int> (*valuesFor)(int)) {
    std::string bytes = image.bytes();
    for (std::size_t at = static_cast<std::size_t>(from); at < static_cast<std::size_t>(from) + count; ++at) {
      const char before = bytes[at];
      for (const int value : valuesFor(static_cast<unsigned char>(before))) {
        bytes[at] = static_cast<char>(value);
        const bool sound = agree(bytes, image);
        EXPECT_TRUE(sound || bytes[at] != before);
        if (HasFailure()) {
          FAIL() << "at byte " << at << ", value " << value;
        }
      }
      bytes[at] = before;
    }
  }

 private:
  bool allSound(BytesReader& reader, const std::vector<bInfo>& records) {
    return std::all_of(records.begin(), records.end(), [&](const bInfo& record) {
      return datasource::form::readBlock(reader, record, {compressed.get(), plain.get(), kBlock, kBlock}).state ==
             BlockState::sound;
    });
  }

  std::unique_ptr<unsigned char[]> compressed = std::make_unique<unsigned char[]>(kBlock);
  std::unique_ptr<unsigned char[]> plain = std::make_unique<unsigned char[]>(kBlock);
};

class FormSweep : public FormAgreement {
 protected:
  const Image sound = Image::of(kRow0, {1000, 2000, 500});
  const int64 table = sound.heading._infoPos;
};

TEST_F(FormSweep, EveryValueOfEveryByteOfTheHeading) { sweep(sound, kRow0, 24, allValues); }
TEST_F(FormSweep, EveryValueOfEveryByteOfTheHeaderRecord) { sweep(sound, table, 24, allValues); }
TEST_F(FormSweep, EveryValueOfEveryByteOfTheFirstRecord) { sweep(sound, table + 24, 24, allValues); }
TEST_F(FormSweep, EveryValueOfEveryByteOfTheLastRecord) { sweep(sound, table + 72, 24, allValues); }

TEST_F(FormSweep, BytesOfHeadingAndTableInTheOtherByteOrder) {
  Image image = Image::of(kRow0, {1000, 500});
  image.swapped = true;
  sweep(image, kRow0, 24, someValues);
  sweep(image, image.heading._infoPos, 72, someValues);
}

TEST_F(FormSweep, BytesOfHeadingAndTableOfAFileWithoutBlocks) { sweep(Image::of(kRow0, {}), kRow0, 48, someValues); }

TEST_F(FormAgreement, SpareBytesBetweenBlocksAndTableDeserveAWord) {
  Image image = Image::of(kRow0, {1000, 2000});
  image.blocks.back() += std::string(10, '.');
  image.heading._infoPos += 10;
  EXPECT_TRUE(agree(image.bytes(), image));
  EXPECT_EQ(judge(image.bytes()).broken, (std::vector<std::string>{"onlyLastBlockIsShort", "tableFollowsBlocks"}));
}

TEST_F(FormAgreement, AnotherBlockSizeInTheHeaderRecordDeservesAWord) {
  Image image = Image::of(kRow0, {1000});
  image.tableHead.orginalSize = 4096;
  EXPECT_TRUE(agree(image.bytes(), image));
  EXPECT_EQ(judge(image.bytes()).broken, (std::vector<std::string>{"headerBlockSizeIsUsual"}));
}

TEST_F(FormAgreement, FilePositionInTheHeaderRecordDeservesAWord) {
  Image image = Image::of(kRow0, {1000});
  image.tableHead.translatePos = 7;
  EXPECT_TRUE(agree(image.bytes(), image));
  EXPECT_EQ(judge(image.bytes()).broken, (std::vector<std::string>{"headerFilePosIsNought"}));
}

TEST_F(FormAgreement, TableThatHidesBlocksIsRefused) {
  Image image = Image::of(kRow0, {1000, 2000, 500});
  const Image sound = image;
  image.records.pop_back();
  image.tableHead.translateSize = 2;
  image.heading._size = 72;
  folder.writePlain("f", image.bytes());
  expectReport("f", sound, "chInfo._infoPos == blocksEnd && \"Position table hides blocks!\"");
  EXPECT_FALSE(judge(image.bytes()).reads);
}

TEST_F(FormAgreement, OldTableBetweenBlocksAndTableIsNoHiddenBlock) {
  Image image = Image::of(kRow0, {kBlock});
  image.blocks.back() += image.table();
  image.heading._infoPos += image.heading._size;
  EXPECT_TRUE(agree(image.bytes(), image));
}

TEST_F(FormAgreement, FaultsOfManyRecordsAreCountedAndTheTableIsLeft) {
  Image image = Image::of(kRow0, {1000});
  image.records.assign(10'000, bInfo{1, 2, 3, 4});
  image.blocks.emplace_back(20'000, '.');
  image.tableHead.translateSize = 10'000;
  image.heading._infoPos += 20'000;
  image.heading._size = 24 * 10'001;
  const std::string bytes = image.bytes();
  BytesReader reader(bytes);
  FormReading form(reader, kRow0, false, FormReading::Leave::behindAThousandBreaks);
  EXPECT_TRUE(form.readHeading() && form.readTableHeader());
  EXPECT_FALSE(form.readRecords([](const TableRecord&) {}));
  EXPECT_EQ(form.faults().size(), 1001U);
  EXPECT_GT(form.unlistedFaults(), 1000U);
  EXPECT_EQ(form.faults().front().rule, datasource::form::Rule::breaksAreFew);
  EXPECT_EQ(form.unreadRecords(), 10'000U - 2047U);
}

}  // namespace
