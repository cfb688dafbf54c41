#include <gmock/gmock.h>

#include <cerrno>
#include <memory>
#include <string>
#include <thread>

#include "support/encryptedTest.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using namespace support;

constexpr const char* blockRule =
    "byteOffset%CIPHER_BLOCK_SIZE == 0 && byteSize%CIPHER_BLOCK_SIZE == 0 && \"byteOffset and byteSize shoule be "
    "multiple of 16.\"";

using EncryptedRead = EncryptedTest;
using EncryptedReadRule = EncryptedTest;
using EncryptedMixed = EncryptedTest;

TEST_F(EncryptedRead, TheWholeFileThroughTheSameObjectComesBackWithoutItsPadding) {
  writeFinished("f", 20);
  EXPECT_EQ(folder.sizeOf("f"), 32);
  EXPECT_EQ(readString(32, 0), selfDescribing(0, 20));
  EXPECT_EQ(VORN_FilePeer::position(*file), 20);
}

TEST_F(EncryptedRead, AnotherObjectCannotTellThePadding) {
  writeFinished("f", 20);
  file->Close();
  VORN_File other(true);
  ASSERT_TRUE(other.Open(named(folder.path("f")), "rb"));
  char buffer[32];
  EXPECT_EQ(other.Read(buffer, 32, 0), 32U);
  EXPECT_EQ(std::string(buffer, 20), selfDescribing(0, 20));
}

TEST_F(EncryptedRead, APartThatDoesNotReachTheEndComesBackWhole) {
  writeFinished("f", 100);
  EXPECT_EQ(readString(32, 16), selfDescribing(16, 32));
}

TEST_F(EncryptedRead, AskingForMoreThanTheFileHoldsFindsTheEnd) {
  writeFinished("f", 100);
  EXPECT_EQ(readString(4096, 0), selfDescribing(0, 100));
}

TEST_F(EncryptedRead, TheDescriptorStaysWhereItStoodWhileThePositionMovesOn_KeptAsIs) {
  writeFinished("f", 64);
  file->Close();
  open("f", "rb");
  probe.clear();
  EXPECT_EQ(readString(32, 0), selfDescribing(0, 32));
  EXPECT_EQ(VORN_FilePeer::position(*file), 32);
  EXPECT_THAT(probe.list(), ElementsAre("read 32 @0", "seek end", "seek 0"));
}

TEST_F(EncryptedRead, ASequentialReadReadsFromWhereTheDescriptorStands_KeptAsIs) {
  writeFinished("f", 64);
  file->Close();
  open("f", "rb");
  EXPECT_EQ(readString(32, 0), selfDescribing(0, 32));
  probe.clear();
  EXPECT_EQ(readString(32, 32), selfDescribing(0, 32)) << "the same bytes again";
  EXPECT_EQ(probe.list().at(0), "read 32 @0");
}

TEST_F(EncryptedRead, TheSizeIsComparedAsASigned32BitNumber_KeptAsIs) {
  writeFinished("f", 20);
  file->Close();
  folder.truncateTo("f", (int64{1} << 32) + 32);
  open("f", "rb");
  EXPECT_EQ(readString(32, 0).size(), 20U) << "taken for the end of the file";
  EXPECT_EQ(readString(16, (int64{1} << 32) + 16).size(), 16U) << "the end is not recognised";
}

TEST_F(EncryptedRead, ThePadCountStaysBehindAnAlignedFinishAndStripsGoodBytes_KeptAsIs) {
  writeFinished("f", 20);
  writeString(selfDescribing(0, 16), 32);
  file->FinishEncryption();
  EXPECT_EQ(VORN_FilePeer::padCount(*file), 12);
  EXPECT_EQ(readString(48, 0).size(), 36U);
}

// The count had become negative: a copy of that length.
TEST_F(EncryptedRead, ReadingOnAtTheEndOfAPaddedFileReturnsZeroWithoutTheCipher) {
  writeFinished("f", 500);
  cipher.takeList();
  EXPECT_EQ(readString(512, 512), "");
  EXPECT_TRUE(VORN_FilePeer::eof(*file));
  EXPECT_THAT(cipher.list(), Not(Contains("Decrypt 0")));
}

TEST_F(EncryptedRead, AnOutputShorterThanThePaddingGivesZeroBytes) {
  writeFinished("f", 20);
  cipher.changeOutputLength(-8);
  EXPECT_EQ(readString(16, 16), "");
  EXPECT_TRUE(VORN_FilePeer::eof(*file));
}

TEST_F(EncryptedRead, ALongerOutputNeverLeavesTheCallersBuffer) {
  writeFinished("f", 100);
  cipher.changeOutputLength(16);
  EXPECT_EQ(readString(32, 0), selfDescribing(0, 32));
  const auto exact = std::make_unique<char[]>(112);  // the sanitizer watches its end
  EXPECT_EQ(file->Read(exact.get(), 112, 0), 112U);
  EXPECT_EQ(std::string(exact.get(), 100), selfDescribing(0, 100));
}

TEST_F(EncryptedRead, OutputsAreGivenBackAndTheDeciphermentIsNeverEnded) {
  writeFinished("f", 64);
  cipher.takeList();
  readString(64, 0);
  EXPECT_THAT(cipher.list(), ElementsAre("Decrypt 64", "FreeOutData"));
  EXPECT_EQ(cipher.outstanding(), 0);
}

TEST_F(EncryptedRead, AFailingDecryptRaises1003AndKeepsThePosition) {
  writeFinished("f", 64);
  cipher.failCall(1);
  EXPECT_EQ(raisedBy([this] { readString(32, 0); }), (Raised{1003, 0}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
  EXPECT_EQ(VORN_FilePeer::position(*file), 64);
  std::thread([this] { EXPECT_EQ(readString(32, 0), selfDescribing(0, 32)); }).join();
}

TEST_F(EncryptedRead, AFailingReadOrSeekRaises1003) {
  writeFinished("f", 64);
  probe.failNth(CallKind::seek, 1, EINVAL);
  EXPECT_EQ(raisedBy([this] { readString(32, 0); }), (Raised{1003, EINVAL}));
  probe.failNth(CallKind::read, 1, EIO);
  EXPECT_EQ(raisedBy([this] { readString(32, 0); }), (Raised{1003, EIO}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
}

TEST_F(EncryptedReadRule, APositionThatIsNoMultipleOfSixteenAsserts) {
  writeFinished("f", 64);
  readString(16, 8);
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, blockRule);
  EXPECT_EQ(reports[0].file, "Datasource/src/file");
}

TEST_F(EncryptedReadRule, ASizeThatIsNoMultipleOfSixteenAsserts) {
  writeFinished("f", 64);
  readString(24, 0);
  EXPECT_THAT(assertions.takeTexts(), ElementsAre(blockRule));
}

TEST_F(EncryptedReadRule, GoingOnBehindTheAssertionStaysInTheCallersBuffer) {
  writeFinished("f", 60);
  const auto exact = std::make_unique<char[]>(24);
  for (const int64 position : {8, 40, 56, 72}) {
    EXPECT_LE(file->Read(exact.get(), 24, position), 24U);
  }
  EXPECT_EQ(assertions.take().size(), 4U);
}

TEST_F(EncryptedReadRule, ItIsCheckedOnAClosedFileTooAndNotOnAPlainOne) {
  EXPECT_EQ(readString(16, 8), "");
  EXPECT_THAT(assertions.takeTexts(), ElementsAre(blockRule));
  file = std::make_unique<VORN_File>(false);
  folder.writeDescribing("f", 64);
  open("f", "rb");
  EXPECT_EQ(readString(3, 7), selfDescribing(7, 3));
}

TEST_F(EncryptedReadRule, ItIsCheckedBeforeTheLockIsTaken) {
  writeFinished("f", 64);
  const sfGuard held(VORN_FilePeer::mutex(*file));
  AssertionRecorder raising(AssertionRecorder::Then::raise);
  std::thread([this] { EXPECT_THROW(readString(16, 8), AssertionThrown); }).join();
}

// Asking for the size moved the descriptor forward to the plain position, and the joining block
// landed behind a hole.
TEST_F(EncryptedMixed, TheSizeMayBeAskedBetweenWritesThatCarry) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  EXPECT_EQ(file->Size(), 16);
  probe.clear();
  writeString(selfDescribing(0, 16), 20);
  EXPECT_THAT(probe.list(), ElementsAre("seek 16", "write 16 @16"));
}

TEST_F(EncryptedMixed, TheSizeMayBeAskedBeforeTheFinish) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  EXPECT_EQ(file->Size(), 16);
  file->FinishEncryption();
  EXPECT_EQ(folder.sizeOf("f"), 32);
  EXPECT_EQ(readString(32, 0), selfDescribing(0, 20));
}

TEST_F(EncryptedMixed, AWriteBehindAReadGoesBehindWhatWasRead) {
  writeFinished("f", 32);
  file->Close();
  open("f", "r+b");
  EXPECT_EQ(readString(32, 0), selfDescribing(0, 32));
  EXPECT_EQ(writeString(selfDescribing(32, 16), 32), 16U);
  file->FinishEncryption();
  EXPECT_EQ(folder.readWhole("f"), ToyCipher::enciphered(selfDescribing(0, 48)));
}

TEST_F(EncryptedMixed, AWriteAtTheStartOverwritesTheBlocksThere) {
  writeFinished("f", 48);
  EXPECT_EQ(writeString("0123456789ABCDEF", 16), 16U);
  file->FinishEncryption();
  EXPECT_EQ(folder.readWhole("f"),
            ToyCipher::enciphered(selfDescribing(0, 16) + "0123456789ABCDEF" + selfDescribing(32, 16)));
}

TEST_F(EncryptedRead, AShorterOutputKeepsTheCountRead_KeptAsIs) {
  writeFinished("f", 100);
  cipher.changeOutputLength(-8);
  EXPECT_EQ(readString(32, 0), selfDescribing(0, 24) + folder.readAt("f", 24, 8));
}

TEST_F(EncryptedMixed, TheSizeMayBeAskedBetweenTheWritesOfASecondFileToo) {
  writeFinished("f", 100);
  open("g", "w+b");
  writeString(selfDescribing(0, 32), 0);
  file->Size();
  writeString(selfDescribing(32, 16), 32);
  file->FinishEncryption();
  EXPECT_EQ(folder.readWhole("g"), ToyCipher::enciphered(selfDescribing(0, 48)));
}

}  // namespace
