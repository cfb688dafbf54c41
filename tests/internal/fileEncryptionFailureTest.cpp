#include <gmock/gmock.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>

#include "support/encryptedTest.h"
#include "support/failureSweep.h"
#include "support/streamTest.h"

// What an enciphered file makes of calls that fail, and of the operation behind them.

namespace {

using ::testing::IsEmpty;
using namespace support;

const std::string zeros(16, '\0');

using EncryptedFailure = EncryptedTest;

TEST_F(EncryptedFailure, AWriteTooLargeForTheCiphersLengthsIsRefusedBeforeAnythingHappens) {
  open("f", "w+b");
  writeString("abcd", 0);
  probe.clear();
  cipher.takeList();
  const auto byte = std::make_unique<char[]>(1);
  for (const std::size_t size : {std::size_t{0x80000000}, std::size_t{0xFFFFFFFF}, std::size_t{1} << 32}) {
    EXPECT_EQ(raisedBy([&] { file->Write(byte.get(), size, 4); }), (Raised{1002, EINVAL})) << size;
  }
  EXPECT_EQ(carry().substr(0, 4), "abcd");
  EXPECT_EQ(VORN_FilePeer::position(*file), 4);
  EXPECT_THAT(probe.list(), IsEmpty());
  EXPECT_THAT(cipher.list(), IsEmpty());
}

TEST_F(EncryptedFailure, AReadThatCannotTellTheFilesEndRaisesAndDeliversNoFiller) {
  writeFinished("f", 20);
  file->Close();
  open("f", "rb");
  probe.failNth(CallKind::seek, 1, EIO);  // that to the file's end
  EXPECT_EQ(raisedBy([this] { readString(32, 0); }), (Raised{1003, EIO}));
  probe.failNone();
  EXPECT_EQ(readString(32, 0), selfDescribing(0, 20));
}

TEST_F(EncryptedFailure, AWriteRepeatedBehindAPartialTransferStartsWhereTheFailedOneDid) {
  open("f", "w+b");
  writeString(selfDescribing(0, 32), 0);
  probe.shorten(CallKind::write, 10);
  probe.failNth(CallKind::write, 2, ENOSPC);
  EXPECT_EQ(raisedBy([this] { writeString(selfDescribing(32, 32), 32); }), (Raised{1002, ENOSPC}));
  probe.failNone();
  EXPECT_EQ(writeString(selfDescribing(32, 32), 32), 32U);
  EXPECT_EQ(folder.readWhole("f"), ToyCipher::enciphered(selfDescribing(0, 64)));
}

TEST_F(EncryptedFailure, AWriteRepeatedBehindOneThatFailedTwiceStartsWhereTheFirstDid) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  for (const int number : {1, 2}) {
    probe.failNth(CallKind::write, number, ENOSPC);
    EXPECT_EQ(raisedBy([this] { writeString(selfDescribing(0, 44), 20); }), (Raised{1002, ENOSPC}));
    probe.failNone();
    EXPECT_EQ(VORN_FilePeer::carryCount(*file), 4);
    EXPECT_EQ(VORN_FilePeer::position(*file), 20);
  }
  EXPECT_EQ(writeString(selfDescribing(0, 44), 20), 32U);
  EXPECT_EQ(folder.readWhole("f"), ToyCipher::enciphered(selfDescribing(0, 16) + selfDescribing(0, 12) +
                                                         zeros.substr(12) + selfDescribing(12, 32)));
}

// It used to read from where the failed read had left the descriptor.
TEST_F(EncryptedFailure, AReadBehindAFailedReadReadsWhereItSays) {
  writeFinished("f", 64);
  file->Close();
  open("f", "rb");
  probe.failNth(CallKind::read, 1, EIO);
  EXPECT_EQ(raisedBy([this] { readString(32, 32); }), (Raised{1003, EIO}));
  probe.failNone();
  EXPECT_EQ(readString(64, 0), selfDescribing(0, 64));
}

TEST_F(EncryptedFailure, AFailedReadThatNeededNoSeekIsRepeatedWithoutOne) {
  writeFinished("f", 64);
  file->Close();
  open("f", "rb");
  probe.clear();
  probe.failNth(CallKind::read, 1, EIO);
  EXPECT_EQ(raisedBy([this] { readString(64, 0); }), (Raised{1003, EIO}));
  EXPECT_EQ(probe.count(CallKind::seek), 0);
  probe.failNone();
  EXPECT_EQ(readString(64, 0), selfDescribing(0, 64));
}

TEST_F(EncryptedFailure, AWholeWriteToAClosedFileRaises1002) {
  open("f", "w+b");
  file->Close();
  EXPECT_EQ(raisedBy([this] { file->WriteWhole("abc", 3, 0); }), (Raised{1002, EBADF}));
}

// It used to read from where the failed write had left the descriptor.
TEST_F(EncryptedFailure, AReadBehindAFailedWriteReadsWhereItSays) {
  writeFinished("f", 64);
  writeString(selfDescribing(0, 16), 0);
  probe.failNth(CallKind::write, 1, ENOSPC);
  EXPECT_EQ(raisedBy([this] { writeString(selfDescribing(0, 16), 48); }), (Raised{1002, ENOSPC}));
  probe.failNone();
  EXPECT_EQ(readString(32, 16), selfDescribing(16, 32));
}

TEST_F(EncryptedFailure, ARepeatedFinishWritesTheEndOutputOverThePartOfTheFailedOne) {
  open("f", "w+b");
  writeString(selfDescribing(0, 32), 0);
  cipher.setEndOutput("END!");
  probe.shorten(CallKind::write, 2);
  probe.failNth(CallKind::write, 2, ENOSPC);
  EXPECT_EQ(raisedBy([this] { file->FinishEncryption(); }), (Raised{1002, ENOSPC}));
  probe.failNone();
  EXPECT_EQ(file->FinishEncryption(), 4);
  EXPECT_EQ(folder.readWhole("f"), ToyCipher::enciphered(selfDescribing(0, 32)) + "END!");
}

// What stood in errno before is not why a cipher fails.
TEST_F(EncryptedFailure, ACipherThatFailsHasNoReasonOfTheSystems) {
  const auto raisedWithout = [this](const auto& call) {
    cipher.failCall(1);
    const Raised raised = raisedBy([&] {
      errno = EDOM;
      call();
    });
    cipher.failNone();
    return raised;
  };
  open("f", "w+b");
  EXPECT_EQ(raisedWithout([this] { file->Write(zeros.data(), zeros.size(), 0); }), (Raised{1002, 0}));
  writeString(selfDescribing(0, 32), 0);
  EXPECT_EQ(raisedWithout([this] { file->FinishEncryption(); }), (Raised{1002, 0}));
  file->FinishEncryption();
  std::string room(16, '?');
  EXPECT_EQ(raisedWithout([&] { file->Read(room.data(), room.size(), 0); }), (Raised{1003, 0}));
}

TEST_F(EncryptedFailure, AWriteThatTakesNothingIsAFullDisk) {
  open("f", "w+b");
  probe.shorten(CallKind::write, 0);
  EXPECT_EQ(raisedBy([this] { writeString(selfDescribing(0, 16), 0); }), (Raised{1002, ENOSPC}));
}

// The end was forgotten when only the padded block had started the encryption.
TEST_F(EncryptedFailure, AFinishWhoseEndFailedIsStillOwed) {
  open("f", "w+b");
  writeString("abcd", 0);
  cipher.failCall(2);
  EXPECT_EQ(raisedBy([this] { file->FinishEncryption(); }), (Raised{1002, 0}));
  cipher.failNone();
  cipher.takeList();
  file->FinishEncryption();
  EXPECT_THAT(cipher.list(), ::testing::ElementsAre("EndEncrypt", "FreeOutData"));
}

// The number of a lost descriptor may name another file by now.
TEST_F(EncryptedFailure, AFinishBehindAFailedCloseRaises1002WithoutTouchingTheDescriptor) {
  open("f", "w+b");
  writeString(selfDescribing(0, 20), 0);
  probe.failNth(CallKind::close, 1, EIO);
  EXPECT_EQ(raisedBy([this] { file->Close(); }), (Raised{1002, EIO}));
  probe.clear();
  cipher.takeList();
  EXPECT_EQ(raisedBy([this] { file->FinishEncryption(); }), (Raised{1002, EBADF}));
  EXPECT_THAT(probe.list(), IsEmpty());
  EXPECT_THAT(cipher.list(), IsEmpty());
  EXPECT_EQ(VORN_FilePeer::carryCount(*file), 4);
}

TEST_F(EncryptedFailure, EveryCallOfARawFileWithCarriesAndAnEndOutput) {
  const auto scenario = [this] {
    cipher.setEndOutput("END!");
    VORN_File raw(true);
    if (!raw.Open(named(folder.path("f")), "w+b")) {
      return;
    }
    int64 position = 0;
    for (const std::size_t size : {20U, 5U, 50U, 16U, 31U}) {
      raw.Write(selfDescribing(position, size).data(), size, position);
      position += static_cast<int64>(size);
      raw.Size();
    }
    raw.FinishEncryption();
    std::string bytes(160, '?');
    raw.Read(bytes.data(), bytes.size(), 0);
    EXPECT_EQ(raw.Close(), 1);
  };
  sweepCalls(
      probe, EIO, [] {}, scenario,
      [this](const SweepRound& round) {
        lost.take();
        EXPECT_EQ(probe.openDescriptors(), 0);
        EXPECT_TRUE(round.raised == nothing || round.raised == (Raised{1002, EIO}) ||
                    round.raised == (Raised{1003, EIO}))
            << round.raised;
      });
}

/// One way of using an enciphered stream.
struct Use {
  bool readsAhead;
  bool preReads;
  bool flushes;
};

class EncryptedUse : public StreamTest, public ::testing::WithParamInterface<int> {
 protected:
  EncryptedUse() { SetKeepEncrypt(true); }
  ~EncryptedUse() override { SetKeepEncrypt(false); }
  void SetUp() override {
    StreamTest::SetUp();
    stream.reset();
  }

  static Use use() { return {(GetParam() & 1) != 0, (GetParam() & 2) != 0, (GetParam() & 4) != 0}; }
  void writeAndRead() {
    VORN_FileStream secret(folder.path("f").c_str(), "w+b", true);
    if (secret.Seek(0, VORN_StrBaseIO::SeekFromCurrent) != 0) {
      return;
    }
    for (int64 position = 0; position < 5000; position += 1000) {
      secret.Write(selfDescribing(position, 1000).data(), 1000);
      if (use().flushes) {
        secret.Flush();
      }
    }
    secret.Close();
    secret.ClearAndReset();
    if (use().readsAhead) {
      secret.EnableMultiThreadReading();
    }
    if (!use().preReads) {
      secret.DisablePreReading();
    }
    std::string bytes(6000, '?');
    for (const int64 block : {0, 1, 2}) {
      secret.Seek(blockSize * block, VORN_StrBaseIO::SeekFromStart);
      secret.Read(bytes.data(), 5008);
    }
  }
  void check(const SweepRound& round) {
    lost.take();
    assertions.take();
    EXPECT_EQ(probe.openDescriptors(), 0);
    EXPECT_TRUE(round.raised == nothing || round.raised.number == 1002 || round.raised.number == 1003) << round.raised;
  }

  ToyCipher cipher;
};

TEST_P(EncryptedUse, EveryCallOfTheTableMayFail) {
  sweepCalls(
      probe, EIO, [] {}, [this] { writeAndRead(); }, [this](const SweepRound& round) { check(round); });
}

TEST_P(EncryptedUse, EveryCallOfTheCipherMayFail) {
  sweepCipher(
      cipher, [] {}, [this] { writeAndRead(); }, [this](const SweepRound& round) { check(round); });
}

INSTANTIATE_TEST_SUITE_P(Way, EncryptedUse, ::testing::Range(0, 8));

}  // namespace
