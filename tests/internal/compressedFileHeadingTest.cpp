#include <cstddef>
#include <cstdint>
#include <string>

#include "support/compressedHostileTest.h"

// Headings and tables that no writer made, or that were damaged on their way.

namespace {

using support::Image;
using support::kBlock;
using support::kRow0;
using ::testing::ElementsAre;

constexpr const char* kTable = "ret == chInfo._size";

class HostileHeading : public support::HostileTest {
 protected:
  const Image sound = Image::of(kRow0, {1000, 2000, 500});

  /// A file like the sound one, with its heading bent.
  void bend(int64 infoPos, int64 size) {
    Image image = sound;
    image.heading._infoPos = infoPos;
    image.heading._size = size;
    makeFile("f", image);
  }
};

TEST_F(HostileHeading, EveryChangedByteOfHeadingAndTableIsReportedOrHarmless) {
  const std::string bytes = sound.bytes();
  const int64 table = sound.heading._infoPos;
  for (std::size_t at = 0; at < 24 + static_cast<std::size_t>(sound.heading._size); ++at) {
    const int64 place = at < 24 ? kRow0 + static_cast<int64>(at) : table + static_cast<int64>(at) - 24;
    for (const int change : {0x01, 0x80, 0xFF}) {
      SCOPED_TRACE("byte " + std::to_string(at) + " of heading and table, changed by " + std::to_string(change));
      std::string damaged = bytes;
      char& byte = damaged[static_cast<std::size_t>(place)];
      byte = static_cast<char>(byte ^ change);
      folder.writePlain("f", damaged);
      expectReportOrData("f", sound);
    }
  }
}

TEST_F(HostileHeading, EveryChangedByteOfHeadingAndTableIsSurvivedByAppending) {
  const std::string bytes = sound.bytes();
  for (std::size_t at = 0; at < 24 + static_cast<std::size_t>(sound.heading._size); ++at) {
    const int64 place = at < 24 ? kRow0 + static_cast<int64>(at) : sound.heading._infoPos + static_cast<int64>(at) - 24;
    SCOPED_TRACE("byte " + std::to_string(at) + " of heading and table");
    std::string damaged = bytes;
    char& byte = damaged[static_cast<std::size_t>(place)];
    byte = static_cast<char>(byte ^ 0x41);
    folder.writePlain("f", damaged);
    appendTo("f", sound);
  }
}

TEST_F(HostileHeading, FileCutAnywhereInTheHeadingIsReported) {
  const std::string bytes = sound.bytes();
  for (std::size_t kept = 0; kept < 24; ++kept) {
    SCOPED_TRACE(kept);
    folder.writePlain("f", bytes.substr(0, static_cast<std::size_t>(kRow0) + kept));
    expectReport("f", sound, "ret == sizeof(compressionHeading)");
  }
}

TEST_F(HostileHeading, FileCutBeforeTheHeadingIsReported) {
  for (const std::size_t kept : {std::size_t{0}, std::size_t{1}, static_cast<std::size_t>(kRow0) - 1}) {
    folder.writePlain("f", sound.bytes().substr(0, kept));
    expectReport("f", sound, "ret == sizeof(compressionHeading)");
  }
}

TEST_F(HostileHeading, FileCutAnywhereInTheTableIsReported) {
  const std::string bytes = sound.bytes();
  for (auto kept = static_cast<std::size_t>(sound.heading._infoPos); kept < bytes.size(); ++kept) {
    SCOPED_TRACE(kept);
    folder.writePlain("f", bytes.substr(0, kept));
    expectReport("f", sound, kTable);
  }
}

TEST_F(HostileHeading, FileCutInItsBlocksIsReported) {
  const std::string bytes = sound.bytes();
  for (auto kept = static_cast<std::size_t>(kRow0 + 24); kept < static_cast<std::size_t>(sound.heading._infoPos);
       kept += 3) {
    SCOPED_TRACE(kept);
    folder.writePlain("f", bytes.substr(0, kept));
    expectReport("f", sound, kTable);
  }
}

TEST_F(HostileHeading, LongerDataBehindTheTableIsHarmless) {
  folder.writePlain("f", sound.bytes() + std::string(1000, 'x'));
  for (const int mode : {0, 2}) {
    EXPECT_TRUE(readBlocks("f", sound, mode, false).allDelivered);
  }
}

TEST_F(HostileHeading, TableSizesThatCannotBeAreReportedBeforeAnythingIsAllocated) {
  const int64 infoPos = sound.heading._infoPos;
  for (const int64 size : {INT64_MAX, INT64_MAX - 1, INT64_MIN, int64{-1}, int64{0}, int64{23}, int64{97},
                           int64{1} << 32, (int64{1} << 32) + 96, int64{1} << 31, int64{1} << 40}) {
    SCOPED_TRACE(size);
    bend(infoPos, size);
    expectReport("f", sound, kTable);
  }
}

TEST_F(HostileHeading, TableThatClaimsGigabytesCostsAFewReads) {
  probe.letOthersWrite();
  constexpr int64 kClaimed = int64{24} * 80'000'000;
  for (const bool countAgrees : {false, true}) {
    Image image = sound;
    image.heading._size = kClaimed;
    image.tableHead.translateSize = countAgrees ? 79'999'999 : 3;
    makeFile("f", image);
    folder.truncateTo("f", image.heading._infoPos + kClaimed);  // a hole that takes no room
    probe.clear();
    const auto stream = support::startReading(folder.path("f"));
    EXPECT_THAT(assertions.takeTexts(), ElementsAre(kTable));
    EXPECT_LE(probe.count(support::CallKind::read), 4);
    for (const support::Call& call : probe.calls()) {
      EXPECT_TRUE(call.kind != support::CallKind::read || call.length <= 64 * 1024) << call;
    }
  }
}

TEST_F(HostileHeading, RecordsThatBreakTheChainEndTheReadingOfALongTable) {
  probe.letOthersWrite();
  constexpr int64 kRecords = 40'000'000;
  Image image = sound;
  image.heading._infoPos = kRow0 + 24 + kRecords;
  image.heading._size = 24 * (kRecords + 1);
  image.tableHead.translateSize = kRecords;
  makeFile("f", image);
  folder.truncateTo("f", image.heading._infoPos + image.heading._size);
  folder.patch("f", image.heading._infoPos, image.table());
  probe.clear();
  const auto stream = support::startReading(folder.path("f"));
  EXPECT_THAT(assertions.takeTexts(), ElementsAre(kTable));
  EXPECT_LE(probe.count(support::CallKind::read), 4);
}

TEST_F(HostileHeading, TablePositionsThatCannotBeAreReported) {
  for (const int64 infoPos :
       {INT64_MAX, INT64_MAX - 95, INT64_MIN, int64{-1}, int64{-96}, int64{1} << 32, int64{1} << 40}) {
    SCOPED_TRACE(infoPos);
    bend(infoPos, 96);
    expectReport("f", sound, kTable);
  }
}

TEST_F(HostileHeading, TableSmallerThanItsCountIsReported) {
  for (const int64 size : {24, 48, 72, 95}) {
    SCOPED_TRACE(size);
    bend(sound.heading._infoPos, size);
    expectReport("f", sound, kTable);
  }
}

TEST_F(HostileHeading, TableInsideTheDictionaryIsReported) {
  bend(0, 96);
  expectReport("f", sound, "firstRecord.orginalPos == -100");
}

TEST_F(HostileHeading, TableHeaderRulesAreReportedWithTheirTexts) {
  Image image = sound;
  image.tableHead.orginalPos = -99;
  makeFile("f", image);
  expectReport("f", sound, "firstRecord.orginalPos == -100");
  image = sound;
  image.tableHead.orginalSize = 0;
  makeFile("f", image);
  expectReport("f", sound, "firstRecord.orginalSize > 0");
  image = sound;
  image.tableHead.translateSize = -1;
  makeFile("f", image);
  expectReport("f", sound, "firstRecord.translateSize >= 0");
}

TEST_F(HostileHeading, CountsAboveTheTableAreReported) {
  for (const std::int32_t count : {4, 1000, 0x0AAAAAAA, INT32_MAX}) {
    SCOPED_TRACE(count);
    Image image = sound;
    image.tableHead.translateSize = count;
    makeFile("f", image);
    expectReport("f", sound, kTable);
  }
}

TEST_F(HostileHeading, StreamIsUsableForASoundFileAfterADamagedOne) {
  makeFile("good", sound);
  bend(-1, 96);
  const auto stream = support::startReading(folder.path("f"), 2);
  EXPECT_THAT(assertions.takeTexts(), testing::ElementsAre(kTable));
  EXPECT_EQ(stream->Open(folder.path("good").c_str(), "rb"), 1);
  stream->readFilePosInfo(kRow0, false);
  EXPECT_EQ(support::readOnce(*stream, 900), support::caseBytes(kRow0, 900));
}

}  // namespace
