// What is taken for the beginning of a table or of a block, and for a file of another form.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "../support/sources.h"
#include "caseTable.h"
#include "casefile/error.h"
#include "casefile/inspect.h"
#include "find/blockProbe.h"
#include "find/foreignFormat.h"
#include "find/placeNamedByTable.h"
#include "progressReport.h"
#include "sourceReader.h"
#include "support/bytesReader.h"
#include "support/compressedImage.h"

namespace casefile {
namespace {

using support::Image;

constexpr int64 kRow0 = 10;

class TablePlaces : public testing::Test {
 protected:
  // What a table of these records tells that lies at a file position.
  static std::optional<Place> placeOf(const Image& image, int64 at) {
    const std::string bytes = std::string(static_cast<std::size_t>(at), '.') + image.table();
    support::BytesReader source(bytes);
    return placeNamedByTable(source, at);
  }
  static std::optional<Place> placeOf(const Image& image) { return placeOf(image, image.heading._infoPos); }

  Image image_ = Image::of(kRow0, {1000, 500});
};

TEST_F(TablePlaces, AreThoseOfTheFirstBlock) {
  EXPECT_EQ(placeOf(image_), (Place{kRow0, false}));
  image_.swapped = true;
  EXPECT_EQ(placeOf(image_), (Place{kRow0, true}));
}

TEST_F(TablePlaces, AreInFrontOfATableWithoutBlocks) {
  const Image empty = Image::of(kRow0, {});
  EXPECT_EQ(placeOf(empty, 24), (Place{0, false}));
  EXPECT_EQ(placeOf(empty, 34), (Place{10, false}));
  EXPECT_FALSE(placeOf(empty, 23));
}

TEST_F(TablePlaces, LieInFrontOfTheTableWithAHeadingBetween) {
  EXPECT_TRUE(placeOf(image_, kRow0 + 24 + 1));
  EXPECT_FALSE(placeOf(image_, kRow0 + 24));
  image_.records[0].orginalPos = 0;
  image_.records[0].translatePos = 24;
  EXPECT_EQ(placeOf(image_), (Place{0, false}));
  image_.records[0].orginalPos = -1;
  image_.records[0].translatePos = 23;
  EXPECT_FALSE(placeOf(image_));
}

TEST_F(TablePlaces, AreToldByNoFirstRecordThatDoesNotFollowTheHeading) {
  ++image_.records[0].translatePos;
  EXPECT_FALSE(placeOf(image_));
}

TEST_F(TablePlaces, AreToldByNoTableWithAWrongHeaderRecord) {
  for (const int wrong : {0, 1, 2, 3}) {
    Image image = image_;
    image.tableHead.orginalPos += wrong == 0 ? 1 : 0;
    image.tableHead.orginalSize += wrong == 1 ? 1 : 0;
    image.tableHead.orginalSize = wrong == 2 ? -1 : image.tableHead.orginalSize;
    image.tableHead.translateSize = wrong == 3 ? -1 : image.tableHead.translateSize;
    EXPECT_FALSE(placeOf(image)) << wrong;
  }
}

TEST_F(TablePlaces, AreToldByNoTableThatTheFileCuts) {
  const std::string table = image_.table();
  const auto at = image_.heading._infoPos;
  for (std::size_t length = 0; length <= 48; ++length) {
    const std::string bytes = std::string(static_cast<std::size_t>(at), '.') + table.substr(0, length);
    support::BytesReader source(bytes);
    EXPECT_EQ(placeNamedByTable(source, at).has_value(), length == 48) << length;
  }
  const std::string empty = std::string(24, '.') + Image::of(kRow0, {}).table();
  support::BytesReader source(empty);
  EXPECT_TRUE(placeNamedByTable(source, 24));
}

class BlockProbes : public testing::Test {
 protected:
  // The bytes that come out of what lies behind `before` in a file.
  int64 plainSize(const std::string& bytes, int64 at) {
    SourceReader source(std::make_shared<support::ScriptedSource>(bytes));
    BlockProbe probe(source, report_);
    return probe.plainSizeAt(at);
  }

  ProgressReport report_{{}, "f", "find"};
};

TEST_F(BlockProbes, TellTheBytesOfASoundBlockAndNoneOfAnother) {
  const std::string block = support::zipped(support::caseBytes(0, 1000));
  EXPECT_EQ(plainSize("...." + block, 4), 1000);
  EXPECT_EQ(plainSize("...." + block, 3), 0);
  EXPECT_EQ(plainSize("...." + block.substr(0, block.size() - 1), 4), 0);
  EXPECT_EQ(plainSize("...." + block.substr(0, 1), 4), 0);
  EXPECT_EQ(plainSize("....", 4), 0);
  EXPECT_EQ(plainSize(support::zipped(support::caseBytes(0, support::kBlock)), 0), support::kBlockLength);
  EXPECT_EQ(plainSize(support::zipped(support::caseBytes(0, support::kBlock + 1)), 0), 0);
}

TEST_F(BlockProbes, LookAtAPositionOnce) {
  const std::string block = support::zipped(support::caseBytes(0, 1000));
  auto bytes = std::make_shared<support::ScriptedSource>("...." + block + std::string(5000, '.'));
  SourceReader source(bytes);
  BlockProbe probe(source, report_);
  EXPECT_EQ(probe.plainSizeAt(4), 1000);
  const std::size_t reads = bytes->reads;
  EXPECT_EQ(probe.plainSizeAt(4), 1000);
  EXPECT_EQ(bytes->reads, reads);
  EXPECT_EQ(probe.plainSizeAt(4 + 4096), 0);  // takes its place
  EXPECT_EQ(probe.plainSizeAt(4), 1000);
  EXPECT_GT(bytes->reads, reads + 1);
}

// No block is longer in the file than in memory; a check value may be cut.
TEST_F(BlockProbes, ReadNoMoreThanABlock) {
  for (const std::size_t missing : {std::size_t{4}, std::size_t{5}}) {
    std::string plain(support::kBlock - 1000, 'x');
    plain.resize(plain.size() + support::kBlock + missing - support::zipped(plain, 0).size(), 'x');
    const std::string stored = support::zipped(plain, 0);
    ASSERT_EQ(stored.size(), support::kBlock + missing);
    EXPECT_EQ(plainSize(stored + std::string(100, '.'), 0), missing == 4 ? static_cast<int64>(plain.size()) : 0);
  }
}

TEST_F(BlockProbes, AskTheProgramWhetherToStop) {
  int calls = 0;
  ProgressReport stopping(
      [&](const Progress& progress) {
        EXPECT_EQ(progress.bytesDone, 0) << "no byte of the search";
        ++calls;
        return calls < 3 ? Next::proceed : Next::stop;
      },
      "f", "find");
  SourceReader source(std::make_shared<support::ScriptedSource>(support::zipped("a") + support::zipped("b")));
  BlockProbe probe(source, stopping);
  EXPECT_EQ(probe.plainSizeAt(0), 1);
  EXPECT_EQ(probe.plainSizeAt(static_cast<int64>(support::zipped("a").size())), 1);
  EXPECT_EQ(probe.plainSizeAt(1), 0);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(support::errorOf([&] {
              probe.plainSizeAt(4096);
              probe.plainSizeAt(0);
            }).kind(),
            ErrorKind::cancelled);
}

TEST_F(BlockProbes, LookBehindAHeading) {
  const std::string block = support::zipped(support::caseBytes(0, 1000));
  SourceReader source(std::make_shared<support::ScriptedSource>(std::string(34, '.') + block));
  BlockProbe probe(source, report_);
  EXPECT_TRUE(probe.hasBlockBehind(10));
  EXPECT_FALSE(probe.hasBlockBehind(9));
  EXPECT_FALSE(probe.hasBlockBehind(11));
  SourceReader small(std::make_shared<support::ScriptedSource>(std::string(24, '.') + support::zipped("x")));
  EXPECT_TRUE(BlockProbe(small, report_).hasBlockBehind(0));
}

TEST_F(BlockProbes, GiveAFileUpWhoseBlocksTakeTooMuch) {
  const std::string block = support::zipped(support::caseBytes(0, 1000));
  SourceReader source(std::make_shared<support::ScriptedSource>(block + block + block + block));
  const auto length = static_cast<int64>(block.size());
  for (const int64 allowance : {2000, 2001}) {
    BlockProbe probe(source, report_, allowance - BlockProbe::allowanceForData(4 * length));
    EXPECT_EQ(probe.plainSizeAt(0), 1000);
    EXPECT_EQ(probe.plainSizeAt(0), 1000) << "asked for again, it costs nothing";
    EXPECT_EQ(probe.plainSizeAt(length), 1000);
    EXPECT_EQ(probe.plainSizeAt(1), 0) << "what cannot begin a block costs nothing";
    const auto third = support::errorOf([&] { EXPECT_EQ(probe.plainSizeAt(2 * length), 1000); });
    EXPECT_EQ(third.kind(), allowance == 2000 ? ErrorKind::notADataFile : ErrorKind::system);
    EXPECT_EQ(support::errorOf([&] { probe.plainSizeAt(3 * length); }).kind(), ErrorKind::notADataFile);
  }
}

TEST_F(BlockProbes, MayInflateAThousandBlocksAndFourTimesTheFile) {
  EXPECT_EQ(BlockProbe::kFirstAllowance, 1000 * support::kBlockLength);
  EXPECT_EQ(BlockProbe::allowanceForData(0), 0);
  EXPECT_EQ(BlockProbe::allowanceForData(1000), 4000);
  EXPECT_EQ(BlockProbe::allowanceForData(INT64_MAX / 8 + 1), BlockProbe::allowanceForData(INT64_MAX / 8));
  EXPECT_EQ(BlockProbe::allowanceForData(INT64_MAX / 8 - 1), BlockProbe::allowanceForData(INT64_MAX) - 4);
}

// A file that is nearly all a hole of a terabyte was allowed four times that.
TEST_F(BlockProbes, AreAllowedNothingForHoles) {
  const std::string block = support::zipped(support::caseBytes(0, 1000));
  class Sparse : public support::ScriptedSource {
   public:
    explicit Sparse(const std::string& bytes) : ScriptedSource(bytes), data_(std::ssize(bytes)) {}
    std::int64_t size() const override { return int64{1} << 40; }
    std::int64_t nextData(std::int64_t position) const override { return position < data_ ? position : size(); }

   private:
    std::int64_t data_;
  };
  // Data are counted by pieces of 64 KiB.
  constexpr int64 kPiece = 65536;
  for (const int64 pieces : {1, 2}) {
    std::string bytes = block + block + block;
    bytes.resize(static_cast<std::size_t>((pieces - 1) * kPiece + 40000), '.');
    SourceReader source(std::make_shared<Sparse>(bytes));
    for (const int64 allowance : {2000, 2001}) {
      BlockProbe probe(source, report_, allowance - BlockProbe::allowanceForData(pieces * kPiece));
      const auto length = static_cast<int64>(block.size());
      EXPECT_EQ(probe.plainSizeAt(0), 1000);
      EXPECT_EQ(probe.plainSizeAt(length), 1000);
      const auto third = support::errorOf([&] { EXPECT_EQ(probe.plainSizeAt(2 * length), 1000); });
      EXPECT_EQ(third.kind(), allowance == 2000 ? ErrorKind::notADataFile : ErrorKind::system);
    }
  }
}

TEST(ForeignFiles, AreNamedByTheirFirstBytes) {
  using namespace std::string_literals;
  const auto formatOf = [](const std::string& bytes) {
    const char* const format = foreignFormat(std::as_bytes(std::span(bytes)));
    return format == nullptr ? "" : std::string(format);
  };
  const std::vector<std::pair<std::string, std::string>> forms = {
      {"\x1f\x8b\x08"s, "a gzip file"},
      {"\x28\xb5\x2f\xfd"s, "a zstd file"},
      {"\xfd\x37zXZ\0"s, "an xz file"},
      {"PK\x03\x04"s, "a zip file"},
      {"PK\x05\x06\0\0"s, "a zip file"},
      {"PK\x07\x08PK\x03\x04"s, "a zip file"},
      {"BZh9\x31\x41\x59\x26\x53\x59"s, "a bzip2 file"},
      {"BZh1\x17\x72\x45\x38\x50\x90"s, "a bzip2 file"},
  };
  for (const auto& [bytes, words] : forms) {
    EXPECT_EQ(formatOf(bytes), words);
    EXPECT_EQ(formatOf(bytes + "and more than the longest of them"), words);
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      if (words == "a bzip2 file" && at == 3) {
        continue;  // the size of its blocks
      }
      std::string other = bytes;
      other[at] ^= 0x40;
      EXPECT_EQ(formatOf(other), "") << words << ", " << at;
    }
    for (std::size_t length = 0; length < bytes.size(); ++length) {
      EXPECT_EQ(formatOf(bytes.substr(0, length)), "") << words << ", " << length;
    }
    support::BytesReader source(bytes);
    EXPECT_EQ(wordsForForeign(source), "is " + words + ", no compressed data file");
  }
  const std::string none = "none of them";
  support::BytesReader source(none);
  EXPECT_FALSE(wordsForForeign(source));
}

TEST(BlockNames, TellTheBytesOfTheBlock) {
  EXPECT_EQ(blockName(3, {10, 20}), "block 3 (logical bytes 10 to 29)");
  EXPECT_EQ(blockName(0, {10, 1}), "block 0 (logical byte 10)");
  EXPECT_EQ(blockName(0, {10, 2}), "block 0 (logical bytes 10 to 11)");
}

/// A damaged file that is sound when its heading is read again.
class Mended : public RandomAccessFile {
 public:
  Mended(std::string damaged, std::string sound) : damaged_(std::move(damaged)), sound_(std::move(sound)) {}
  std::string name() const override { return "mended"; }
  std::int64_t size() const override { return damaged_.size(); }
  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const override {
    headings_ += position == kRow0 ? 1 : 0;
    return (headings_ > 1 ? sound_ : damaged_).readAt(buffer, position);
  }

 private:
  support::ScriptedSource damaged_;
  support::ScriptedSource sound_;
  mutable int headings_ = 0;
};

class CaseTables : public testing::Test {
 protected:
  static CaseTable tableOf(std::shared_ptr<const RandomAccessFile> file) {
    SourceReader source(std::move(file));
    return {source, {kRow0, false}};
  }
  static Error errorOf(std::shared_ptr<const RandomAccessFile> file) {
    return support::errorOf([&] { tableOf(std::move(file)); });
  }
  static Error errorOf(const std::string& bytes) { return errorOf(std::make_shared<support::ScriptedSource>(bytes)); }

  Image image_ = Image::of(kRow0, {1000, 500});
};

TEST_F(CaseTables, FindTheBlockOfEachByte) {
  for (const auto& lengths : {std::vector<std::size_t>{1000, 500}, {1, 1, 1}, {support::kBlock, 7}}) {
    const CaseTable table = tableOf(std::make_shared<support::ScriptedSource>(Image::of(kRow0, lengths).bytes()));
    int64 start = kRow0;
    for (std::size_t block = 0; block < lengths.size(); ++block) {
      const auto length = static_cast<int64>(lengths[block]);
      EXPECT_EQ(table.blockAt(start), block);
      EXPECT_EQ(table.blockAt(start + length - 1), block);
      EXPECT_EQ(table.range(block).start, start);
      EXPECT_EQ(table.range(block).size, length);
      start += length;
    }
    EXPECT_EQ(table.logicalEnd(), start);
  }
  EXPECT_EQ(tableOf(std::make_shared<support::ScriptedSource>(Image::of(kRow0, {}).bytes())).logicalEnd(), kRow0);
}

TEST_F(CaseTables, AreNotWhereThereIsNoHeading) {
  EXPECT_EQ(errorOf(image_.bytes().substr(0, kRow0 + 23)).kind(), ErrorKind::notADataFile);
  ++image_.heading._caseStartPos;
  const Error error = errorOf(image_.bytes());
  EXPECT_EQ(error.kind(), ErrorKind::notADataFile);
  EXPECT_NE(std::string(error.what()).find("has no heading at row-0 position 10"), std::string::npos);
}

TEST_F(CaseTables, SayWhatIsWrongAndWithWhichBlock) {
  ++image_.records[1].orginalPos;
  const Error ofABlock = errorOf(image_.bytes());
  EXPECT_EQ(ofABlock.kind(), ErrorKind::damaged);
  EXPECT_NE(std::string(ofABlock.what()).find("block 1 (logical bytes 1010 to 1509): its record gives 1011"),
            std::string::npos)
      << ofABlock.what();
  --image_.records[1].orginalPos;
  ++image_.tableHead.orginalPos;
  const Error ofTheFile = errorOf(image_.bytes());
  EXPECT_EQ(std::string(ofTheFile.what()).find("block "), std::string::npos) << ofTheFile.what();
}

// The faults are put into words by reading the table once more.
TEST_F(CaseTables, SayWhenAFileIsMendedMeanwhile) {
  const std::string sound = image_.bytes();
  ++image_.tableHead.orginalPos;
  const Error error = errorOf(std::make_shared<Mended>(image_.bytes(), sound));
  EXPECT_EQ(error.kind(), ErrorKind::damaged);
  EXPECT_NE(std::string(error.what()).find("changed while it was opened: headerHasMark"), std::string::npos)
      << error.what();
}

}  // namespace
}  // namespace casefile
