// Which headings fit their tables, and which one is the file's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "../support/sources.h"
#include "casefile/error.h"
#include "check/findBlocks.h"
#include "find/headingSearch.h"
#include "find/locate.h"
#include "progressReport.h"
#include "sourceReader.h"
#include "support/compressedImage.h"

namespace casefile {
namespace {

using support::Image;
using testing::ElementsAre;

constexpr int64 kRow0 = 10;
constexpr std::size_t kPiece = std::size_t{256} << 10;  // that are searched at once

/// A heading at `row0` that fits, as long as nothing is asked of its table, which lies behind the file's end.
std::string headingAlone(int64 row0) {
  return support::encoded(compressionHeading{row0, row0 + 100'000'000, 48}) + "\x78\x01";
}

std::string number(int64 value, bool swapped = false) {
  return support::encoded(compressionHeading{value, 0, 0}, swapped).substr(0, sizeof value);
}

class Locating : public testing::Test {
 protected:
  static std::shared_ptr<support::ScriptedSource> sourceOf(const std::string& bytes) {
    return std::make_shared<support::ScriptedSource>(bytes);
  }
  std::vector<int64> places(const std::string& bytes, ByteOrder order = ByteOrder::find) {
    SourceReader source(sourceOf(bytes));
    std::vector<int64> found;
    for (const Place& place : fittingPlaces(source, order, report_)) {
      found.push_back(place.row0);
    }
    return found;
  }
  /// Returns: whether the file's heading fits its table: else one that has none at all is as good.
  bool fitsItsTable(const std::string& file) {
    const auto other = static_cast<int64>(file.size());
    const std::vector<int64> found = places(file + headingAlone(other));
    EXPECT_TRUE(found == std::vector<int64>{kRow0} || found == (std::vector<int64>{kRow0, other}))
        << testing::PrintToString(found);
    return found.size() == 1;
  }

  ProgressReport report_{{}, "f", "find"};
};

/// What a heading says of its table, each made wrong by itself.
const std::vector<std::function<void(Image&)>>& statements() {
  static const std::vector<std::function<void(Image&)>> all = {
      [](Image& image) { --image.tableHead.orginalPos; },  [](Image& image) { ++image.tableHead.translatePos; },
      [](Image& image) { ++image.tableHead.orginalSize; }, [](Image& image) { ++image.tableHead.translateSize; },
      [](Image& image) { ++image.records[0].orginalPos; }, [](Image& image) { ++image.records.back().translateSize; },
  };
  return all;
}

class Statements : public Locating {
 protected:
  /// One of the first `count` statements may be wrong, and no two.
  void expectThatOneMayBeWrong(const Image& sound, std::size_t count) {
    EXPECT_TRUE(fitsItsTable(sound.bytes()));
    for (std::size_t i = 0; i < count; ++i) {
      Image one = sound;
      statements()[i](one);
      EXPECT_TRUE(fitsItsTable(one.bytes())) << i;
      for (std::size_t k = 0; k < i; ++k) {
        Image two = one;
        statements()[k](two);
        EXPECT_FALSE(fitsItsTable(two.bytes())) << i << " and " << k;
      }
    }
  }
};

TEST_F(Statements, OfATableAreTrueButForOne) {
  expectThatOneMayBeWrong(Image::of(kRow0, {1000, 500}), statements().size());
}

TEST_F(Locating, ARecordHasSeveralWaysToBeWrong) {
  const std::vector<std::function<void(Image&)>> ways = {
      [](Image& image) { ++image.records[0].translatePos; },
      [](Image& image) { ++image.records.back().translatePos; },
      [](Image& image) { image.records.back().orginalSize = 0; },
  };
  for (const auto& wrong : ways) {
    Image image = Image::of(kRow0, {1000, 500});
    wrong(image);
    EXPECT_TRUE(fitsItsTable(image.bytes()));
    ++image.tableHead.orginalSize;
    EXPECT_FALSE(fitsItsTable(image.bytes()));
  }
}

TEST_F(Statements, OfATableWithoutBlocksHaveItBehindTheHeading) {
  const Image sound = Image::of(kRow0, {});
  expectThatOneMayBeWrong(sound, 4);
  Image apart = sound;
  apart.blocks.emplace_back("\x78\x01 spare bytes");
  apart.heading._infoPos += static_cast<int64>(apart.blocks[0].size());
  EXPECT_FALSE(fitsItsTable(apart.bytes()));
}

TEST_F(Locating, AHeadingFitsByItselfInFrontOfABlockOrItsTable) {
  const std::string front = support::dictionaryBytes(kRow0);
  const auto of = [&](int64 infoPos, int64 size, const std::string& behind) {
    return front + support::encoded(compressionHeading{kRow0, infoPos, size}) + behind;
  };
  EXPECT_THAT(places(of(100'000, 48, "\x78\x01 more")), ElementsAre(kRow0));
  EXPECT_THAT(places(of(kRow0 + 24, 24, "?? more")), ElementsAre(kRow0));
  EXPECT_THAT(places(of(kRow0 + 24, 24, "")), ElementsAre(kRow0)) << "which ends the file";
  EXPECT_THAT(places(of(100'000, 48, "?? more")), ElementsAre());
  EXPECT_THAT(places(of(kRow0 + 23, 48, "\x78\x01 more")), ElementsAre());
  EXPECT_THAT(places(of(100'000, 23, "\x78\x01 more")), ElementsAre());
  EXPECT_THAT(places(of(100'000, 49, "\x78\x01 more")), ElementsAre());
  EXPECT_THAT(places(of(100'000, 0, "\x78\x01 more")), ElementsAre());
}

TEST_F(Locating, SixteenPlacesAreEnough) {
  std::string whole;
  std::string alone;
  for (int i = 0; i < 20; ++i) {
    const auto at = static_cast<int64>(whole.size());
    whole += Image::of(at, {}).bytes().substr(whole.size());
    alone += headingAlone(static_cast<int64>(alone.size()));
  }
  EXPECT_EQ(places(whole).size(), 16U);
  EXPECT_EQ(places(alone).size(), 16U);
  EXPECT_EQ(places(alone)[15], 15 * 26);
}

TEST_F(Locating, WhatLiesInsideATableIsThatFilesOwn) {
  Image image = Image::of(kRow0, {1000, 500, 300});
  const int64 second = image.heading._infoPos + 2 * 24;
  const std::string inside = headingAlone(second);
  image.records[1] = decode<bInfo>(inside.data(), false);
  EXPECT_THAT(places(image.bytes()), ElementsAre(kRow0));
}

TEST_F(Locating, AWholeFileInsideATableIsThatFilesOwn) {
  Image image = Image::of(kRow0, {1000, 500, 300, 200});
  const int64 second = image.heading._infoPos + 2 * 24;
  const std::string inside =
      support::encoded(compressionHeading{second, second + 24, 24}) + Image::of(second, {}).table();
  image.records[1] = decode<bInfo>(inside.data(), false);
  image.records[2] = decode<bInfo>(inside.data() + 24, false);
  EXPECT_THAT(places(image.bytes()), ElementsAre(kRow0));
}

TEST_F(Locating, ATableThatTheFileCutsIsNotAskedForItsFit) {
  const std::string other = headingAlone(0);
  const std::string bytes = other + Image::of(26, {1000, 500}).bytes().substr(26);
  EXPECT_THAT(places(bytes), ElementsAre(26));
  EXPECT_THAT(places(bytes.substr(0, bytes.size() - 1)), ElementsAre(0, 26));
}

TEST_F(Locating, HeadingsOneByteApartAreBothLookedAt) {
  Image image = Image::of(1, {1000});
  image.swapped = true;
  std::string bytes = image.bytes();
  bytes[0] = '\0';  // with the seven that follow it names position 0
  EXPECT_THAT(places(bytes), ElementsAre(1));
}

TEST_F(Locating, APlaceThatIsToldNeedsAHeadingThere) {
  const std::string bytes = Image::of(kRow0, {1000}).bytes();
  SourceReader source(sourceOf(bytes));
  EXPECT_EQ(locate(source, kRow0, ByteOrder::find, report_), (Place{kRow0, false}));
  const auto errorAt = [&](int64 row0, ByteOrder order) {
    const Error error = support::errorOf([&] { locate(source, row0, order, report_); });
    EXPECT_EQ(error.filePosition().value_or(row0), row0);
    return error.kind();
  };
  EXPECT_EQ(errorAt(kRow0, ByteOrder::other), ErrorKind::notADataFile);
  EXPECT_EQ(errorAt(kRow0 + 1, ByteOrder::find), ErrorKind::notADataFile);
  EXPECT_EQ(errorAt(static_cast<int64>(bytes.size()), ByteOrder::find), ErrorKind::notADataFile);
  EXPECT_EQ(errorAt(-1, ByteOrder::find), ErrorKind::usage);
}

// At position 0 a heading names its place in both byte orders.
TEST_F(Locating, AtTheFilesBeginningTheByteOrderIsThatOfTheTable) {
  const auto placeOf = [&](int64 infoPos, int64 size, const std::string& behind) {
    SourceReader source(sourceOf(support::encoded(compressionHeading{0, infoPos, size}, true) + behind));
    return locate(source, 0, ByteOrder::find, report_);
  };
  EXPECT_EQ(placeOf(100'000, 48, "\x78\x01"), (Place{0, true})) << "which fits by itself";
  EXPECT_EQ(placeOf(24, 24, "?? and some bytes that a table may have"), (Place{0, true}));
  EXPECT_EQ(placeOf(25, 24, "?? and some bytes that a table may have"), (Place{0, true}));
  EXPECT_EQ(placeOf(25, 16, "?? and some bytes that a table may have"), (Place{0, false})) << "no table is so small";
}

TEST_F(Locating, WhatIsNoDataFileIsRefusedAsAWhole) {
  const auto errorOf = [&](const std::string& bytes) {
    SourceReader source(sourceOf(bytes));
    return support::errorOf([&] { locate(source, {}, ByteOrder::find, report_); });
  };
  for (const std::string bytes : {"nothing of the kind", "PK\x03\x04 and so on"}) {
    const Error error = errorOf(bytes);
    EXPECT_EQ(error.kind(), ErrorKind::notADataFile);
    EXPECT_EQ(error.filePosition(), 0);
  }
  const std::string dictionary = "PK\x03\x04......";
  EXPECT_STREQ(errorOf(dictionary + Image::of(kRow0, {1000}).bytes().substr(kRow0)).what(), "no error")
      << "a dictionary part may begin like a file of another form";
}

// Both byte orders agree on such numbers.
TEST_F(Locating, OfTwoByteOrdersThatFitThisMachinesIsMeant) {
  constexpr int64 kSame = 0x1800000000000018;
  const std::string bytes = support::encoded(compressionHeading{0, kSame, kSame}) + "\x78\x01 and so on";
  SourceReader source(sourceOf(bytes));
  EXPECT_THAT(fittingPlaces(source, ByteOrder::find, report_), ElementsAre(Place{0, false}));
  EXPECT_THAT(fittingPlaces(source, ByteOrder::other, report_), ElementsAre(Place{0, true}));
  EXPECT_EQ(locate(source, 0, ByteOrder::find, report_), (Place{0, false}));
}

TEST_F(Locating, AHeadingIsFoundWhereverThePiecesThatAreSearchedEnd) {
  for (std::size_t at = kPiece - 30; at <= kPiece + 2; ++at) {
    for (const std::size_t cut : {std::size_t{0}, std::size_t{1}}) {
      std::string bytes = std::string(at, '.') + headingAlone(static_cast<int64>(at));
      bytes.resize(bytes.size() - cut);
      EXPECT_EQ(places(bytes), cut == 0 ? std::vector{static_cast<int64>(at)} : std::vector<int64>{}) << at;
    }
  }
}

TEST_F(Locating, APlaceThatIsToldNeedsNoHeadingThatFits) {
  for (const bool swapped : {false, true}) {
    const std::string bytes =
        support::dictionaryBytes(kRow0) + support::encoded(compressionHeading{kRow0, -1, -1}, swapped);
    SourceReader source(sourceOf(bytes));
    EXPECT_EQ(placeTold(source, kRow0), (Place{kRow0, swapped}));
    EXPECT_EQ(placeTold(source, 0), (Place{0, false}));
    EXPECT_EQ(placeTold(source, kRow0 + 24), (Place{kRow0 + 24, false})) << "the end of the file";
    EXPECT_EQ(support::errorOf([&] { placeTold(source, kRow0 + 25); }).kind(), ErrorKind::notADataFile);
    EXPECT_EQ(support::errorOf([&] { placeTold(source, -1); }).kind(), ErrorKind::usage);
  }
}

class Searching : public Locating {
 protected:
  /// Every sign from `from` on.
  std::vector<std::pair<int64, HeadingSearch::Sign>> signs(const std::string& bytes, int64 from = 0) {
    const auto scripted = sourceOf(bytes);
    SourceReader source(scripted);
    HeadingSearch search(source, HeadingSearch::Signs::placesAndBlocks, report_);
    std::vector<std::pair<int64, HeadingSearch::Sign>> found;
    while (const auto find = search.next(from)) {
      found.emplace_back(find->position, find->sign);
      from = find->position + 1;
    }
    reads_ = scripted->reads;
    return found;
  }
  std::size_t reads_ = 0;
};

using Sign = HeadingSearch::Sign;

TEST_F(Searching, StopsAtEachSign) {
  const std::string dots(50, '.');
  const auto at = [&](const std::string& bytes) { return signs(dots + bytes + dots); };
  const auto only = [](Sign sign) { return ElementsAre(std::pair{int64{50}, sign}); };
  EXPECT_THAT(at(number(50)), only(Sign::ownPosition));
  EXPECT_THAT(at(number(50, true)), only(Sign::ownPosition));
  EXPECT_THAT(at(number(51)), ElementsAre());
  EXPECT_THAT(at(std::string(24, '\0') + "\x78\x9c"), only(Sign::zeroHeading));
  EXPECT_THAT(at(std::string(23, '\0') + "\x78\x9c"), ElementsAre());
  EXPECT_THAT(at(std::string(24, '\0') + "??"), ElementsAre());
  for (const bool swapped : {false, true}) {
    EXPECT_THAT(at(support::encoded(bInfo{-100, 0, 1, 1}, swapped)), only(Sign::tableBeginning));
    EXPECT_THAT(at(support::encoded(bInfo{-99, 0, 1, 1}, swapped)), ElementsAre());
    EXPECT_THAT(at(support::encoded(bInfo{-100, 1, 1, 1}, swapped)), ElementsAre());
  }
  EXPECT_THAT(at("\x78\x01"), only(Sign::blockBeginning));
  EXPECT_THAT(at("\x78\x02"), ElementsAre());
  EXPECT_THAT(at("\x77\x01"), ElementsAre());
}

TEST_F(Searching, TakesNoHeadingForZerosThatHoldAnotherByte) {
  for (std::size_t at = 0; at < 24; ++at) {
    std::string heading(24, '\0');
    heading[at] = '\x7f';
    EXPECT_THAT(signs(std::string(50, '.') + heading + "\x78\x9c" + std::string(50, '.')), ElementsAre()) << at;
  }
}

TEST_F(Searching, StopsAtNoSignThatNobodyAskedFor) {
  const std::string dots(50, '.');
  const auto found = [&](const std::string& sign, HeadingSearch::Signs wanted) {
    SourceReader source(sourceOf(dots + sign + dots));
    return HeadingSearch(source, wanted, report_).next(0).has_value();
  };
  using Signs = HeadingSearch::Signs;
  const std::string table = support::encoded(bInfo{-100, 0, 1, 1});
  const std::string zeros = std::string(24, '\0') + "\x78\x9c";
  for (const Signs wanted : {Signs::headings, Signs::places, Signs::placesAndBlocks}) {
    EXPECT_TRUE(found(number(50), wanted));
    EXPECT_EQ(found(table, wanted), wanted != Signs::headings);
    EXPECT_EQ(found(zeros, wanted), wanted != Signs::headings);
    EXPECT_EQ(found("\x78\x01", wanted), wanted == Signs::placesAndBlocks);
  }
}

TEST_F(Searching, StopsAtAHeadingOfZerosWhereverThePiecesEnd) {
  for (std::size_t at = kPiece - 30; at <= kPiece + 2; ++at) {
    std::string bytes(kPiece + 100, '.');
    bytes.replace(at, 24, 24, '\0');
    bytes.replace(at + 24, 2, "\x78\x9c");
    EXPECT_THAT(signs(bytes), ElementsAre(std::pair{static_cast<int64>(at), Sign::zeroHeading})) << at;
  }
}

TEST_F(Searching, GoesBackWhereItIsAskedTo) {
  std::string bytes(2 * kPiece, '.');
  bytes.replace(3, 2, "\x78\x01");
  SourceReader source(sourceOf(bytes));
  HeadingSearch search(source, HeadingSearch::Signs::placesAndBlocks, report_);
  EXPECT_FALSE(search.next(static_cast<int64>(kPiece) + 50));
  const auto find = search.next(0);
  ASSERT_TRUE(find);
  EXPECT_EQ(find->position, 3);
}

TEST_F(Searching, FindsNothingInAFileThatIsCutMeanwhile) {
  const auto cut = sourceOf(std::string(100, '.'));
  cut->mostAtOnce = 0;
  SourceReader source(cut);
  EXPECT_FALSE(HeadingSearch(source, HeadingSearch::Signs::placesAndBlocks, report_).next(0));
}

TEST_F(Searching, ReadsAPieceOnceWhereverTheSearchGoesOn) {
  std::string bytes(kPiece, '.');
  bytes.replace(0, 2, "\x78\x01");
  bytes.replace(1000, 2, "\x78\x01");
  bytes.replace(kPiece - 8, 2, "\x78\x01");
  EXPECT_EQ(signs(bytes).size(), 3U);
  EXPECT_EQ(reads_, 1U) << "a file that is one piece is searched to its end";
  EXPECT_EQ(signs(bytes + "more", 1).size(), 2U);
  EXPECT_EQ(reads_, 3U) << "the second piece, and that nothing is behind it";
}

TEST_F(Searching, ReadsNothingAgainWhereItStands) {
  const auto scripted = sourceOf("\x78\x01" + std::string(kPiece, '.'));
  SourceReader source(scripted);
  HeadingSearch search(source, HeadingSearch::Signs::placesAndBlocks, report_);
  ASSERT_TRUE(search.next(0));
  ASSERT_TRUE(search.next(0));
  EXPECT_EQ(scripted->reads, 1U);
}

TEST_F(Searching, EndsWithTheFile) {
  EXPECT_THAT(signs("\x78\x01......"), ElementsAre(std::pair{int64{0}, Sign::blockBeginning}));
  EXPECT_THAT(signs("\x78\x01....."), ElementsAre()) << "less than a number is left";
  EXPECT_THAT(signs("\x78\x01......", 1), ElementsAre());
}

}  // namespace
}  // namespace casefile
