#include <gmock/gmock.h>

#include <cerrno>
#include <memory>
#include <string>

#include "support/encryptedTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace support;

using EncryptedSwitch = EncryptedTest;
using EncryptedWrite = EncryptedTest;
using EncryptedFinish = EncryptedTest;
using EncryptedClose = EncryptedTest;

const std::string zeros(16, '\0');

TEST_F(EncryptedSwitch, WhileItIsOffAFileThatAsksForEncryptionWritesPlainBytes) {
  SetKeepEncrypt(false);
  file = std::make_unique<VORN_File>(true);
  open("f", "w+b");
  EXPECT_EQ(writeString("plain", 0), 5U);
  EXPECT_EQ(folder.readWhole("f"), "plain");
  EXPECT_THAT(cipher.list(), IsEmpty());
}

TEST_F(EncryptedSwitch, OnlyItsStateAtConstructionCounts) {
  SetKeepEncrypt(false);
  EXPECT_TRUE(VORN_FilePeer::encrypted(*file));
  const VORN_File later(true);
  SetKeepEncrypt(true);
  EXPECT_FALSE(VORN_FilePeer::encrypted(later));
}

TEST_F(EncryptedSwitch, AFileThatDoesNotAskStaysPlain) {
  EXPECT_FALSE(VORN_FilePeer::encrypted(VORN_File(false)));
  EXPECT_FALSE(VORN_FilePeer::encrypted(VORN_File()));
}

TEST_F(EncryptedWrite, WholeBlocksCarryNothingAndReturnTheCountsWritten) {
  open("f", "w+b");
  probe.clear();
  EXPECT_EQ(writeString(selfDescribing(0, 32), 0), 32U);
  EXPECT_EQ(writeString(selfDescribing(32, 16), 32), 16U);
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 0);
  EXPECT_THAT(probe.list(), ElementsAre("write 32 @0", "write 16 @32"));
  EXPECT_EQ(folder.readWhole("f"), ToyCipher::enciphered(selfDescribing(0, 48)));
}

TEST_F(EncryptedWrite, TheTailThatFillsNoBlockIsCarried) {
  open("f", "w+b");
  EXPECT_EQ(writeString(selfDescribing(0, 20), 0), 16U);
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 4);
  EXPECT_EQ(carry(), selfDescribing(16, 4) + zeros.substr(4));
  EXPECT_EQ(VORN_FilePeer::position(*file), 20);
  EXPECT_TRUE(VORN_FilePeer::encryptStarted(*file));
  EXPECT_THAT(cipher.list(), ElementsAre("Encrypt 16", "FreeOutData"));
}

TEST_F(EncryptedWrite, FewerBytesThanABlockAreAllCarriedAndReturnZero_KeptAsIs) {
  open("f", "w+b");
  probe.clear();
  EXPECT_EQ(writeString("0123456789", 0), 0U);
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 10);
  EXPECT_EQ(VORN_FilePeer::position(*file), 10);
  EXPECT_FALSE(VORN_FilePeer::encryptStarted(*file));
  EXPECT_THAT(probe.list(), IsEmpty());
  EXPECT_THAT(cipher.list(), IsEmpty());
}

TEST_F(EncryptedWrite, BytesThatFitTheCarryOverwriteIt_KeptAsIs) {
  open("f", "w+b");
  writeString(std::string(16, '.') + "abcd", 0);
  cipher.takeList();
  EXPECT_EQ(writeString("XY", 20), 2U);
  EXPECT_EQ(carry(), "XYcd" + zeros.substr(4));
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 4);
  EXPECT_EQ(VORN_FilePeer::position(*file), 20) << "not advanced";
  EXPECT_THAT(cipher.list(), IsEmpty());
}

TEST_F(EncryptedWrite, BytesThatFitTheCarryAtAnotherPositionSeekAndSetThatPosition_KeptAsIs) {
  open("f", "w+b");
  writeString(std::string(16, '.') + "abcd", 0);
  probe.clear();
  EXPECT_EQ(writeString("XY", 22), 2U);
  EXPECT_EQ(VORN_FilePeer::position(*file), 22);
  EXPECT_THAT(probe.list(), ElementsAre("seek 22"));
}

TEST_F(EncryptedWrite, TheNewBytesLandAtTheStartOfTheJoiningBlock_KeptAsIs) {
  open("f", "w+b");
  writeString(std::string(16, '.') + "abcd", 0);
  EXPECT_EQ(writeString("0123456789ABCDEF", 20), 16U);
  EXPECT_EQ(cipher.inputs().at(1), "0123456789AB" + zeros.substr(12));
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 4);
  EXPECT_EQ(carry().substr(0, 4), "CDEF");
  EXPECT_EQ(VORN_FilePeer::position(*file), 36);
}

TEST_F(EncryptedWrite, CarriedBytesBehindTheNewOnesStayInTheJoiningBlock_KeptAsIs) {
  open("f", "w+b");
  writeString(std::string(16, '.') + "abcdefghijkl", 0);
  EXPECT_EQ(writeString("0123ABC", 28), 16U);
  EXPECT_EQ(cipher.inputs().at(1), "0123efghijkl" + zeros.substr(12)) << "the rest is zero, not memory";
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 3);
  EXPECT_EQ(carry().substr(0, 3), "ABC");
}

TEST_F(EncryptedWrite, AnExactlyFilledJoiningBlockReturnsTheSizeAndLeavesTheCarryCount_KeptAsIs) {
  open("f", "w+b");
  writeString(std::string(16, '.') + "abcd", 0);
  EXPECT_EQ(writeString("0123456789AB", 20), 12U);
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 4);
  EXPECT_EQ(VORN_FilePeer::position(*file), 32);
  EXPECT_EQ(file->FinishEncryption(), 16);
  EXPECT_EQ(cipher.inputs().at(2), "abcd" + zeros.substr(4)) << "the stale carry is written again";
  EXPECT_EQ(folder.sizeOf("f"), 48);
  EXPECT_EQ(VORN_FilePeer::padCount(*file), 12);
}

TEST_F(EncryptedWrite, AJoinFollowedByWholeBlocksAndATail) {
  open("f", "w+b");
  writeString(std::string(20, '.'), 0);
  const std::string bytes = selfDescribing(0, 40);
  EXPECT_EQ(writeString(bytes, 20), 16U) << "the count of the last physical write";
  EXPECT_EQ(cipher.inputs().at(2), bytes.substr(12, 16));
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 12);
  EXPECT_EQ(carry().substr(0, 12), bytes.substr(28));
  EXPECT_EQ(VORN_FilePeer::position(*file), 60);
}

TEST_F(EncryptedWrite, AWriteBehindACarryMakesNoSeekAndLandsBehindTheLastWholeBlock) {
  open("f", "w+b");
  probe.clear();
  writeString(selfDescribing(0, 20), 0);
  writeString(selfDescribing(20, 28), 20);
  EXPECT_THAT(probe.list(), ElementsAre("write 16 @0", "write 16 @16", "write 16 @32"));
}

TEST_F(EncryptedWrite, TheJoiningOutputIsNeverGivenBackAndAllOthersAre_KeptAsIs) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  EXPECT_EQ(cipher.outstanding(), 0);
  writeString(selfDescribing(20, 44), 20);
  EXPECT_EQ(cipher.outstanding(), 1);
  file->FinishEncryption();
  file->Close();
  EXPECT_EQ(cipher.outstanding(), 1);
}

TEST_F(EncryptedWrite, TheResultCountsEncipheredBytes_KeptAsIs) {
  open("f", "w+b");
  cipher.changeOutputLength(8);
  EXPECT_EQ(writeString(selfDescribing(0, 32), 0), 40U);
  EXPECT_EQ(folder.sizeOf("f"), 40);
  EXPECT_EQ(VORN_FilePeer::position(*file), 32);
}

TEST_F(EncryptedWrite, AnEmptyOutputIsNotWrittenInAJoin) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  cipher.changeOutputLength(-16);
  probe.clear();
  EXPECT_EQ(writeString(selfDescribing(20, 12), 20), 12U);
  EXPECT_THAT(probe.list(), IsEmpty());
}

// The caller cannot tell from the count that enciphered bytes are missing, so none may be.
TEST_F(EncryptedWrite, AShortPhysicalWriteGoesOnUntilTheWholeOutputIsWritten) {
  open("f", "w+b");
  probe.clear();
  probe.shorten(CallKind::write, 10);
  EXPECT_EQ(writeString(selfDescribing(0, 32), 0), 32U);
  EXPECT_THAT(probe.list(), ElementsAre("write 32 @0 = 10", "write 22 @10"));
}

TEST_F(EncryptedWrite, AFailingEncryptRaises1002AndKeepsCarryAndStartedFlag) {
  open("f", "w+b");
  writeString("abcd", 0);
  cipher.failCall(1);
  EXPECT_EQ(raisedBy([this] { writeString(selfDescribing(0, 32), 4); }), (Raised{1002, 0}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
  EXPECT_FALSE(VORN_FilePeer::encryptStarted(*file));
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 4);
  EXPECT_EQ(carry().substr(0, 4), "abcd");
  EXPECT_EQ(VORN_FilePeer::position(*file), 4);
}

TEST_F(EncryptedWrite, AFailingEncryptOfTheBodyRaises1002) {
  open("f", "w+b");
  cipher.failCall(1);
  EXPECT_EQ(raisedBy([this] { writeString(selfDescribing(0, 36), 0); }), (Raised{1002, 0}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 0);
  EXPECT_THAT(folder.readWhole("f"), IsEmpty());
}

TEST_F(EncryptedWrite, AFailingPhysicalWriteRaises1002AndGivesTheOutputBack) {
  open("f", "w+b");
  probe.failEvery(CallKind::write, ENOSPC);
  EXPECT_EQ(raisedBy([this] { writeString(selfDescribing(0, 32), 0); }), (Raised{1002, ENOSPC}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
  EXPECT_TRUE(VORN_FilePeer::encryptStarted(*file)) << "the cipher's stream is open";
  EXPECT_EQ(cipher.outstanding(), 0);
}

TEST_F(EncryptedWrite, AFailingSeekRaises1002) {
  open("f", "w+b");
  EXPECT_EQ(raisedBy([this] { writeString("abc", -16); }), (Raised{1002, EINVAL}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
}

TEST_F(EncryptedFinish, PadsTheCarryToOneBlockAndThenWritesTheEndOutput) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  cipher.setEndOutput("END!");
  cipher.takeList();
  probe.clear();
  EXPECT_EQ(file->FinishEncryption(), 4);
  EXPECT_EQ(VORN_FilePeer::padCount(*file), 12);
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 0);
  EXPECT_FALSE(VORN_FilePeer::encryptStarted(*file));
  EXPECT_EQ(VORN_FilePeer::position(*file), 24) << "20 and the end output, but not the padded block";
  EXPECT_THAT(probe.list(), ElementsAre("write 16 @16", "write 4 @32"));
  EXPECT_THAT(cipher.list(), ElementsAre("Encrypt 16", "FreeOutData", "EndEncrypt", "FreeOutData"));
}

TEST_F(EncryptedFinish, WithoutEndOutputItReturnsThePaddedBlocksCount) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  EXPECT_EQ(file->FinishEncryption(), 16);
  EXPECT_EQ(VORN_FilePeer::position(*file), 20);
  EXPECT_EQ(folder.readWhole("f"), ToyCipher::enciphered(selfDescribing(0, 20) + zeros.substr(4)));
}

TEST_F(EncryptedFinish, WithoutACarryItOnlyEndsTheEncryption) {
  open("f", "w+b");
  writeString(selfDescribing(0, 32), 0);
  EXPECT_EQ(file->FinishEncryption(), 0);
  EXPECT_EQ(VORN_FilePeer::padCount(*file), 0);
  EXPECT_EQ(folder.sizeOf("f"), 32);
}

TEST_F(EncryptedFinish, ACarryAloneIsEnoughToFinish) {
  open("f", "w+b");
  writeString("0123456789", 0);
  EXPECT_EQ(file->FinishEncryption(), 16);
  EXPECT_EQ(VORN_FilePeer::padCount(*file), 6);
  EXPECT_EQ(folder.readWhole("f"), ToyCipher::enciphered("0123456789" + zeros.substr(10)));
}

TEST_F(EncryptedFinish, TheFillerIsWhatTheCarryHeldBefore_KeptAsIs) {
  open("f", "w+b");
  writeString("abcdefghijklmno", 0);      // carries 15
  writeString(std::string(17, '-'), 15);  // joins 1, a whole block, no tail
  writeString("0123", 32);
  file->FinishEncryption();
  EXPECT_EQ(cipher.inputs().back(), "0123efghijklmno" + zeros.substr(15));
}

TEST_F(EncryptedFinish, ASecondFinishDoesNothing) {
  writeFinished("f", 20);
  cipher.takeList();
  EXPECT_EQ(file->FinishEncryption(), 0);
  EXPECT_THAT(cipher.list(), IsEmpty());
}

TEST_F(EncryptedFinish, AnIdleOrPlainFileHasNothingToFinish) {
  open("f", "w+b");
  EXPECT_EQ(file->FinishEncryption(), 0);
  VORN_File plain;
  ASSERT_TRUE(plain.Open(named(folder.path("g")), "w+b"));
  plain.Write("abc", 3, 0);
  EXPECT_EQ(plain.FinishEncryption(), 0);
  EXPECT_THAT(cipher.list(), IsEmpty());
}

TEST_F(EncryptedFinish, TheCipherOfThePaddedBlockIsNotExamined_KeptAsIs) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  cipher.failCall(1);
  EXPECT_EQ(file->FinishEncryption(), 0);
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 0);
  EXPECT_FALSE(VORN_FilePeer::encryptStarted(*file));
  EXPECT_EQ(folder.sizeOf("f"), 16);
}

TEST_F(EncryptedFinish, TheWriteOfThePaddedBlockIsNotExamined_KeptAsIs) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  probe.failEvery(CallKind::write, ENOSPC);
  EXPECT_EQ(file->FinishEncryption(), -1);
  EXPECT_TRUE(VORN_FilePeer::good(*file));
  EXPECT_EQ(cipher.outstanding(), 0);
}

TEST_F(EncryptedFinish, AFailingEndRaises1002AndLeavesTheEncryptionStarted) {
  open("f", "w+b");
  writeString(selfDescribing(0, 32), 0);
  cipher.failCall(1);
  EXPECT_EQ(raisedBy([this] { file->FinishEncryption(); }), (Raised{1002, 0}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
  EXPECT_TRUE(VORN_FilePeer::encryptStarted(*file));
}

TEST_F(EncryptedFinish, AFailingWriteOfTheEndOutputRaises1002AndGivesTheOutputBack) {
  open("f", "w+b");
  writeString(selfDescribing(0, 32), 0);
  cipher.setEndOutput("END!");
  probe.failNth(CallKind::write, 1, ENOSPC);
  EXPECT_EQ(raisedBy([this] { file->FinishEncryption(); }), (Raised{1002, ENOSPC}));
  EXPECT_TRUE(VORN_FilePeer::encryptStarted(*file));
  EXPECT_EQ(cipher.outstanding(), 0);
}

TEST_F(EncryptedFinish, AWriteBehindAFinishStartsANewRunningStream) {
  writeFinished("f", 32);
  EXPECT_EQ(writeString(selfDescribing(32, 16), 32), 16U);
  EXPECT_TRUE(VORN_FilePeer::encryptStarted(*file));
  file->FinishEncryption();
  EXPECT_EQ(folder.readWhole("f"), ToyCipher::enciphered(selfDescribing(0, 48)));
}

TEST_F(EncryptedClose, EndsARunningEncryptionWithoutTheCarry_KeptAsIs) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  cipher.setEndOutput("END!");
  cipher.takeList();
  EXPECT_EQ(file->Close(), 1);
  EXPECT_THAT(cipher.list(), ElementsAre("EndEncrypt", "FreeOutData"));
  EXPECT_EQ(folder.readWhole("f"), ToyCipher::enciphered(selfDescribing(0, 16)) + "END!");
  EXPECT_EQ(VORN_FilePeer::position(*file), 24);
}

TEST_F(EncryptedClose, LeavesTheStartedFlagSoThatTheNextCloseEndsOnceMore_KeptAsIs) {
  open("f", "w+b");
  writeString(selfDescribing(0, 32), 0);
  file->Close();
  EXPECT_TRUE(VORN_FilePeer::encryptStarted(*file));
  open("f", "rb");
  cipher.takeList();
  EXPECT_EQ(file->Close(), 1);
  EXPECT_THAT(cipher.list(), ElementsAre("EndEncrypt", "FreeOutData"));
}

TEST_F(EncryptedClose, AnIdleFileClosesWithoutTheCipher) {
  writeFinished("f", 20);
  cipher.takeList();
  EXPECT_EQ(file->Close(), 1);
  EXPECT_THAT(cipher.list(), IsEmpty());
}

TEST_F(EncryptedClose, AFailingEndRaises1002AndTheFileStaysOpen) {
  open("f", "w+b");
  writeString(selfDescribing(0, 32), 0);
  cipher.failCall(1);
  EXPECT_EQ(raisedBy([this] { file->Close(); }), (Raised{1002, 0}));
  EXPECT_FALSE(VORN_FilePeer::good(*file));
  EXPECT_TRUE(file->IsOpen());
  EXPECT_EQ(file->Close(), 1);
}

TEST_F(EncryptedClose, AFailingWriteOfTheEndOutputRaises1002) {
  open("f", "w+b");
  writeString(selfDescribing(0, 32), 0);
  cipher.setEndOutput("END!");
  probe.failNth(CallKind::write, 1, ENOSPC);
  EXPECT_EQ(raisedBy([this] { file->Close(); }), (Raised{1002, ENOSPC}));
  EXPECT_EQ(cipher.outstanding(), 0);
}

// The descriptor stayed open, and with it the lock that refuses other writers.
TEST_F(EncryptedClose, TheDestructorGivesTheDescriptorBackThoughTheEncryptionCannotBeEnded) {
  open("f", "w+b");
  writeString(selfDescribing(0, 32), 0);
  cipher.failFrom(1);
  file.reset();
  EXPECT_EQ(probe.openDescriptors(), 0);
  const auto errors = lost.take();
  ASSERT_EQ(errors.size(), 1U);
  EXPECT_EQ(errors[0].error, (Raised{1002, 0}));
}

TEST_F(EncryptedClose, ACarryReachesTheNextFileOfTheSameObject_KeptAsIs) {
  open("f", "w+b");
  writeString("abcd", 0);
  open("g", "w+b");
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 4);
  file->FinishEncryption();
  EXPECT_EQ(folder.readWhole("g"), ToyCipher::enciphered("abcd" + zeros.substr(4)));
}

TEST_F(EncryptedFinish, TheEndOutputGoesBehindTheLastBlockThoughTheSizeWasAsked) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  file->FinishEncryption();
  writeString(selfDescribing(0, 16), 20);
  cipher.setEndOutput("END!");
  EXPECT_EQ(file->Size(), 48);
  EXPECT_EQ(file->FinishEncryption(), 4);
  EXPECT_EQ(folder.readWhole("f"),
            ToyCipher::enciphered(selfDescribing(0, 20) + std::string(12, '\0') + selfDescribing(0, 16)) + "END!");
}

TEST_F(EncryptedClose, TheEndOutputGoesBehindTheLastBlockThoughTheSizeWasAsked) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  cipher.setEndOutput("END!");
  EXPECT_EQ(file->Size(), 16);
  EXPECT_EQ(file->Close(), 1);
  EXPECT_EQ(folder.readWhole("f"), ToyCipher::enciphered(selfDescribing(0, 16)) + "END!");
}

}  // namespace
