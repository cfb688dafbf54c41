#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "support/fileTest.h"
#include "support/rawFileTest.h"

namespace {

using ::testing::ElementsAre;
using namespace support;

using RawFileRead = RawFileTest;
using RawFileWrite = RawFileTest;
using RawFileAppend = RawFileTest;
using RawFileSize = RawFileTest;

TEST_F(RawFileRead, SecondConsecutiveReadMakesNoSeek) {
  folder.writeDescribing("f", 1000);
  open("f", "rb");
  probe.clear();
  EXPECT_EQ(readString(100, 200), selfDescribing(200, 100));
  EXPECT_EQ(readString(50, 300), selfDescribing(300, 50));
  EXPECT_THAT(probe.list(), ElementsAre("seek 200", "read 100 @200", "read 50 @300"));
}

TEST_F(RawFileRead, TheFirstReadAtZeroMakesNoSeek) {
  folder.writeDescribing("f", 1000);
  open("f", "rb");
  EXPECT_EQ(readString(16, 0), selfDescribing(0, 16));
  EXPECT_THAT(probe.list(), ElementsAre("open 0x8010", "read 16 @0"));
}

TEST_F(RawFileRead, AtTheEndReturnsZeroAndSetsEofUntilAReadThatDelivers) {
  folder.writeDescribing("f", 100);
  open("f", "rb");
  EXPECT_EQ(readString(10, 100), "");
  EXPECT_TRUE(VORN_FilePeer::eof(*file));
  EXPECT_EQ(readString(10, 95), selfDescribing(95, 5));
  EXPECT_FALSE(VORN_FilePeer::eof(*file));
}

TEST_F(RawFileRead, TheRememberedPositionIsThePositionPlusTheResult) {
  folder.writeDescribing("f", 100);
  open("f", "rb");
  EXPECT_EQ(readString(64, 60).size(), 40U);
  EXPECT_EQ(VORN_FilePeer::position(*file), 100);
  EXPECT_EQ(readString(64, 5000), "");
  EXPECT_EQ(VORN_FilePeer::position(*file), 5000);
}

TEST_F(RawFileRead, AShortReadIsNotRetried) {
  folder.writeDescribing("f", 1000);
  open("f", "rb");
  probe.shorten(CallKind::read, 7);
  probe.clear();
  EXPECT_EQ(readString(100, 0), selfDescribing(0, 7));
  EXPECT_EQ(VORN_FilePeer::position(*file), 7);
  EXPECT_THAT(probe.list(), ElementsAre("read 100 @0 = 7"));
}

TEST_F(RawFileRead, OnlyTheLow32BitsOfTheSizeAreAskedFor_KeptAsIs) {
  folder.writeDescribing("f", 1000);
  open("f", "rb");
  char buffer[16] = {};
  EXPECT_EQ(file->Read(buffer, (std::size_t{1} << 32U) + 8, 0), 8U);
  EXPECT_EQ(std::string(buffer, 8), selfDescribing(0, 8));
}

TEST_F(RawFileRead, AFailingSeekRaises1003AndLeavesTheLockFree) {
  folder.writeDescribing("f", 1000);
  open("f", "rb");
  probe.failNth(CallKind::seek, 1, EOVERFLOW);
  EXPECT_EQ(raisedBy([this] { readString(10, 500); }), (Raised{1003, EOVERFLOW}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
  EXPECT_EQ(VORN_FilePeer::position(*file), 0);
  std::thread([this] { EXPECT_EQ(readString(10, 500), selfDescribing(500, 10)); }).join();
}

TEST_F(RawFileRead, AFailingReadRaises1003AndLeavesTheLockFree) {
  folder.writeDescribing("f", 1000);
  open("f", "rb");
  probe.failNth(CallKind::read, 1, EIO);
  EXPECT_EQ(raisedBy([this] { readString(10, 500); }), (Raised{1003, EIO}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
  std::thread([this] { EXPECT_EQ(readString(10, 500), selfDescribing(500, 10)); }).join();
}

TEST_F(RawFileRead, APositionOfMinusOneIsHandedToTheSeekWhichFails) {
  folder.writeDescribing("f", 100);
  open("f", "rb");
  probe.clear();
  EXPECT_EQ(raisedBy([this] { readString(10, -1); }), (Raised{1003, EINVAL}));
  EXPECT_THAT(probe.list(), ElementsAre("seek -1 failed"));
}

// The seek had moved the descriptor while the remembered position stayed, and the next transfer at
// the remembered position went to the wrong place without a seek.
TEST_F(RawFileRead, AfterAFailedReadTheDescriptorStandsAtTheRememberedPosition) {
  folder.writeDescribing("f", 2000);
  open("f", "r+b");
  probe.clear();
  probe.failNth(CallKind::read, 1, EIO);
  EXPECT_EQ(raisedBy([this] { readString(10, 1000); }), (Raised{1003, EIO}));
  EXPECT_THAT(probe.takeList(), ElementsAre("seek 1000", "read 10 @1000 failed", "seek 0"));
  EXPECT_EQ(writeString("ABCD", 0), 4U);
  EXPECT_THAT(probe.list(), ElementsAre("write 4 @0"));
  EXPECT_EQ(folder.readAt("f", 1000, 8), selfDescribing(1000, 8));
}

TEST_F(RawFileRead, WhenMovingBackFailsTooTheNextTransferSeeksAndTheFirstErrnoIsRaised) {
  folder.writeDescribing("f", 2000);
  open("f", "r+b");
  probe.failIf([](const Call& call) {
    return call.kind == CallKind::read ? EIO : call.kind == CallKind::seek && call.position == 0 ? EINVAL : 0;
  });
  EXPECT_EQ(raisedBy([this] { readString(10, 1000); }), (Raised{1003, EIO}));
  probe.failNone();
  EXPECT_EQ(writeString("ABCD", 0), 4U);
  EXPECT_EQ(folder.readAt("f", 0, 4), "ABCD");
  EXPECT_EQ(folder.readAt("f", 1000, 8), selfDescribing(1000, 8));
}

TEST_F(RawFileRead, AFileThatIsNotGoodStillReads) {
  folder.writeDescribing("f", 100);
  open("f", "rb");
  probe.failNth(CallKind::read, 1, EIO);
  EXPECT_EQ(raisedBy([this] { readString(10, 0); }), (Raised{1003, EIO}));
  EXPECT_EQ(readString(10, 0), selfDescribing(0, 10));
  EXPECT_FALSE(VORN_FilePeer::good(*file)) << "only an open makes it good again";
}

TEST_F(RawFileRead, TheRaisedErrorCarriesCatalogueNumberAndGenericName) {
  folder.writeDescribing("f", 100);
  open("f", "rb");
  probe.failEvery(CallKind::read, EIO);
  try {
    readString(10, 0);
    FAIL() << "nothing was raised";
  } catch (const StringSysError& error) {
    EXPECT_EQ(error.catalogue(), "strmcat.err");
    EXPECT_EQ(error.number(), 1003);
    EXPECT_EQ(error.text(), folder.path("f"));
    EXPECT_EQ(error.systemError(), EIO);
  }
}

TEST_F(RawFileRead, TheRaisedErrorOutlivesTheFileWhoseNameItCarries) {
  std::string text;
  try {
    const RefCountPtr<VORN_File> doomed(new VORN_File);
    ASSERT_TRUE(doomed->Open(named(folder.writePlain("a-name-too-long-for-any-small-buffer.dat", "x")), "rb"));
    probe.failEvery(CallKind::read, EIO);
    char byte = 0;
    doomed->Read(&byte, 1, 0);
  } catch (const StringSysError& error) {
    text = error.text();
  }
  EXPECT_EQ(text, folder.path("a-name-too-long-for-any-small-buffer.dat"));
}

TEST_F(RawFileWrite, ConsecutiveWritesMakeNoSeek) {
  open("f", "w+b");
  probe.clear();
  EXPECT_EQ(writeString("abc", 0), 3U);
  EXPECT_EQ(writeString("defg", 3), 4U);
  EXPECT_EQ(writeString("X", 1), 1U);
  EXPECT_THAT(probe.list(), ElementsAre("write 3 @0", "write 4 @3", "seek 1", "write 1 @1"));
}

TEST_F(RawFileWrite, AWriteAfterAReadThatEndedThereMakesNoSeek) {
  folder.writeDescribing("f", 64);
  open("f", "r+b");
  EXPECT_EQ(readString(16, 0).size(), 16U);
  probe.clear();
  EXPECT_EQ(writeString("ABCD", 16), 4U);
  EXPECT_THAT(probe.list(), ElementsAre("write 4 @16"));
}

TEST_F(RawFileWrite, AShortWriteIsNeitherRetriedNorRaised) {
  open("f", "w+b");
  probe.clear();
  probe.shorten(CallKind::write, 5);
  EXPECT_EQ(writeString("0123456789", 0), 5U);
  EXPECT_EQ(VORN_FilePeer::position(*file), 5);
  EXPECT_THAT(probe.list(), ElementsAre("write 10 @0 = 5"));
  EXPECT_TRUE(VORN_FilePeer::good(*file));
}

TEST_F(RawFileWrite, OnlyTheLow32BitsOfTheSizeAreWritten_KeptAsIs) {
  open("f", "w+b");
  const char byte = 'x';
  EXPECT_EQ(file->Write(&byte, std::size_t{1} << 32U, 0), 0U);
  EXPECT_EQ(file->Write(&byte, (std::size_t{1} << 32U) + 1, 0), 1U);
  EXPECT_EQ(file->Size(), 1);
}

TEST_F(RawFileWrite, AFailingSeekRaises1002) {
  open("f", "w+b");
  probe.failNth(CallKind::seek, 1, EOVERFLOW);
  EXPECT_EQ(raisedBy([this] { writeString("abc", 500); }), (Raised{1002, EOVERFLOW}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
  std::thread([this] { EXPECT_EQ(writeString("abc", 500), 3U); }).join();
}

TEST_F(RawFileWrite, AFailingWriteRaises1002AndTheNextOneGoesToItsPlace) {
  folder.writeDescribing("f", 100);
  open("f", "r+b");
  probe.clear();
  probe.failNth(CallKind::write, 1, ENOSPC);
  EXPECT_EQ(raisedBy([this] { writeString("abc", 50); }), (Raised{1002, ENOSPC}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
  EXPECT_EQ(VORN_FilePeer::position(*file), 0);
  EXPECT_THAT(probe.takeList(), ElementsAre("seek 50", "write 3 @50 failed", "seek 0"));
  EXPECT_EQ(readString(8, 0), selfDescribing(0, 8));
}

TEST_F(RawFileWrite, APositionOfMinusOneRaises1002) {
  open("f", "w+b");
  EXPECT_EQ(raisedBy([this] { writeString("abc", -1); }), (Raised{1002, EINVAL}));
}

TEST_F(RawFileWrite, BeyondFourGibibytesLandsAtItsPlace) {
  constexpr int64 far = (int64{5} << 30) + 3;
  open("f", "w+b");
  EXPECT_EQ(writeString("far away", far), 8U);
  EXPECT_EQ(file->Size(), far + 8);
  EXPECT_EQ(readString(8, far), "far away");
  EXPECT_EQ(readString(4, far - (int64{1} << 32)), std::string(4, '\0'));
}

TEST_F(RawFileAppend, AWriteAnywhereLandsAtTheEndAndTheDescriptorFollowsTheRememberedPosition) {
  folder.writeDescribing("f", 100);
  open("f", "a+b");
  EXPECT_EQ(writeString("0123456789", 0), 10U);
  EXPECT_EQ(VORN_FilePeer::position(*file), 10);
  EXPECT_EQ(readString(8, 10), selfDescribing(10, 8));
  EXPECT_EQ(file->Size(), 110);
  EXPECT_EQ(folder.readAt("f", 100, 10), "0123456789");
}

TEST_F(RawFileAppend, WritesOneBehindTheOther) {
  folder.writePlain("f", "abc");
  open("f", "ab");
  EXPECT_EQ(writeString("def", 3), 3U);
  EXPECT_EQ(writeString("ghi", 6), 3U);
  EXPECT_EQ(folder.readWhole("f"), "abcdefghi");
}

TEST_F(RawFileSize, DoesNotDisturbThePosition) {
  folder.writeDescribing("f", 100);
  open("f", "rb");
  EXPECT_EQ(readString(10, 20).size(), 10U);
  probe.clear();
  EXPECT_EQ(file->Size(), 100);
  EXPECT_EQ(readString(10, 30), selfDescribing(30, 10));
  EXPECT_THAT(probe.list(), ElementsAre("seek end", "seek 30", "read 10 @30"));
}

TEST_F(RawFileSize, AFailingFirstSeekGivesMinusOneAndRaisesNothing) {
  folder.writeDescribing("f", 100);
  open("f", "rb");
  probe.failNth(CallKind::seek, 1, EIO);
  EXPECT_EQ(file->Size(), -1);
  EXPECT_TRUE(VORN_FilePeer::good(*file));
}

TEST_F(RawFileSize, AFailingSecondSeekIsIgnoredAndTheNextReadStillReadsItsPlace) {
  folder.writeDescribing("f", 100);
  open("f", "rb");
  probe.failNth(CallKind::seek, 2, EIO);
  EXPECT_EQ(file->Size(), 100);
  EXPECT_TRUE(VORN_FilePeer::good(*file));
  EXPECT_EQ(readString(10, 0), selfDescribing(0, 10));
}

using RawFileThreads = RawFileTest;

constexpr int64 size = 1 << 20;

TEST_F(RawFileThreads, TransfersOfSeveralThreadsNeverInterleave) {
  folder.writeDescribing("f", size);
  open("f", "r+b");
  std::vector<std::thread> threads;
  for (unsigned int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t] {
      for (unsigned int i = 0; i < 500; ++i) {
        const int64 position = (i * 7919 + t * 104729) % (size - 4096);
        if (i % 3 == 0) {
          EXPECT_EQ(writeString(selfDescribing(position, 512), position), 512U);
        } else if (i % 50 == 1) {
          EXPECT_EQ(file->Size(), size);
        } else {
          EXPECT_EQ(readString(512, position), selfDescribing(position, 512));
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(folder.readWhole("f"), selfDescribing(0, size));
}

TEST_F(RawFileThreads, TheLockIsHeldFromTheSeekToTheEndOfTheTransfer) {
  folder.writeDescribing("f", 1000);
  open("f", "rb");
  probe.clear();
  probe.holdOtherThreads(CallKind::read);
  std::thread other([this] { EXPECT_EQ(readString(8, 800), selfDescribing(800, 8)); });
  probe.waitUntilHeld();
  // A file without its lock would seek during the pause; with it, nothing can happen.
  std::thread opener([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_THAT(probe.ownList(), ElementsAre());
    probe.release();
  });
  EXPECT_EQ(readString(8, 400), selfDescribing(400, 8));
  other.join();
  opener.join();
  EXPECT_THAT(probe.list(), ElementsAre("seek 800", "read 8 @800", "seek 400", "read 8 @400"));
}

TEST_F(RawFileWrite, TellsHowMuchOfAWholeReachedTheFile) {
  const std::string bytes = selfDescribing(0, 100);
  open("f", "w+b");
  for (const int failing : {1, 2}) {
    std::size_t written = 77;  // of another call
    probe.shorten(CallKind::write, 10);
    probe.failNth(CallKind::write, failing, ENOSPC);
    EXPECT_EQ(raisedBy([&] { file->WriteWhole(bytes.data(), bytes.size(), 0, written); }), (Raised{1002, ENOSPC}));
    EXPECT_EQ(written, failing == 1 ? 0U : 10U);
    probe.failNone();
  }
  std::size_t written = 77;
  EXPECT_EQ(file->WriteWhole(bytes.data(), bytes.size(), 0, written), bytes.size());
  EXPECT_EQ(written, bytes.size());
}

}  // namespace
