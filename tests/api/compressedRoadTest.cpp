#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "Datasource/systemFileException.h"
#include "support/assertionRecorder.h"
#include "support/compressedUse.h"
#include "support/deadline.h"
#include "support/testFolder.h"

// A compressed file's road as a user of the library goes it.

namespace {

using support::caseBytes;
using support::kBlock;
using support::kBlockLength;
using support::kRow0;

class CompressedRoad : public ::testing::TestWithParam<int> {
 protected:
  std::string path() const { return folder.path("f"); }
  static int64 endOf(std::size_t length, int64 row0 = kRow0) { return row0 + static_cast<int64>(length); }
  /// Reads all case data back, in the mode of the test.
  std::string readBack(int64 row0 = kRow0) const {
    return support::readRest(*support::startReading(path(), GetParam(), row0));
  }

  support::TestFolder folder;
  support::AssertionRecorder throwing{support::AssertionRecorder::Then::raise};
  support::Deadline deadline{"CompressedRoad"};
};

TEST_P(CompressedRoad, AppendingBehindAPartialAWholeAndNoBlock) {
  for (const std::size_t before : {std::size_t{0}, std::size_t{1000}, kBlock, kBlock + 1000}) {
    support::writeFile(path(), before, GetParam() / 2);
    const auto stream = support::startAppending(path(), endOf(before));
    support::writeCases(*stream, kBlock);
    EXPECT_EQ(stream->Close(), 1);
    EXPECT_TRUE(support::sameBytes(readBack(), caseBytes(kRow0, before + kBlock))) << before;
  }
}

TEST_P(CompressedRoad, PositionsBeyondFourGibibytes) {
  const int64 row0 = (int64{5} << 30) + 123;
  folder.writePlain("f", "dictionary");
  folder.truncateTo("f", row0);
  {
    const VORN_FileStream plain(path().c_str(), "r+b");
    zcmpsFilestr stream(plain);
    stream.setMultiThread(GetParam() / 2);
    stream.setRow0Pos(row0);
    stream.Seek(row0, VORN_StrBaseIO::SeekFromStart);
    support::writeCases(stream, kBlock + 5000);
    EXPECT_EQ(stream.Close(), 1);
  }
  EXPECT_TRUE(support::sameBytes(readBack(row0), caseBytes(row0, kBlock + 5000)));
  const auto appending = support::startAppending(path(), endOf(kBlock + 5000, row0), row0);
  support::writeCases(*appending, 1000);
  EXPECT_EQ(appending->Close(), 1);
  EXPECT_TRUE(support::sameBytes(readBack(row0), caseBytes(row0, kBlock + 6000)));
  EXPECT_EQ(folder.readAt("f", 0, 10), "dictionary");
}

TEST_P(CompressedRoad, StreamIsUsedThroughItsInterface) {
  support::writeFile(path(), kBlock + 100, GetParam() / 2);
  const auto stream = support::startReading(path(), GetParam());
  VORN_StrBaseIO& interface = *stream;
  EXPECT_EQ(interface.Seek(kRow0 + 50, VORN_StrBaseIO::SeekFromStart), 0);
  EXPECT_EQ(interface.Tell(), kRow0 + 50);
  EXPECT_EQ(support::readOnce(interface, 100), caseBytes(kRow0 + 50, 100));
  EXPECT_EQ(static_cast<VORN_FileStream&>(*stream).Close(), 1);
}

TEST_P(CompressedRoad, TwoReadersOfOneFileDoNotDisturbEachOther) {
  support::writeFile(path(), 2 * kBlock + 100);
  const VORN_FileStream plain(path().c_str(), "rb");
  zcmpsFilestr first(plain);
  zcmpsFilestr second(plain);
  first.setMultiThread(GetParam());
  first.readFilePosInfo(kRow0, false);
  second.readFilePosInfo(kRow0, false);
  for (int64 block = 0; block < 3; ++block) {
    const int64 place = kRow0 + block * kBlockLength;
    EXPECT_EQ(support::readAt(first, place, 90), caseBytes(place, 90));
    EXPECT_EQ(support::readAt(second, kRow0 + 2 * kBlockLength - place + kRow0, 90),
              caseBytes(kRow0 + 2 * kBlockLength - place + kRow0, 90));
  }
}

TEST_P(CompressedRoad, MissingFileRaises1201WhenItIsToBeWritten) {
  const VORN_FileStream plain(folder.path("missing").c_str(), "rb");
  zcmpsFilestr stream(plain);
  stream.setMultiThread(GetParam());
  try {
    stream.setRow0Pos(kRow0);
    FAIL() << "nothing was raised";
  } catch (const SystemFileException& error) {
    EXPECT_EQ(error.errorNumber, 1201);
  }
}

TEST_P(CompressedRoad, ManyStreamsInARowLeaveNothingBehind) {
  for (int round = 0; round < 20; ++round) {
    support::writeFile(path(), 1000, GetParam() / 2);
    const auto stream = support::startReading(path(), GetParam());
    ASSERT_EQ(support::readOnce(*stream, 2000), caseBytes(kRow0, 1000));
    ASSERT_EQ(support::readAt(*stream, kRow0, 10), caseBytes(kRow0, 10));
  }
}

INSTANTIATE_TEST_SUITE_P(Mode, CompressedRoad, ::testing::Values(0, 2), ::testing::PrintToStringParamName());

}  // namespace
