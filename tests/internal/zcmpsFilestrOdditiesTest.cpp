#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>

#include "support/compressedTest.h"
#include "support/toyCipher.h"

// What a compressed stream makes possible against its owner's interest, and keeps so.

namespace {

using support::kBlock;
using support::kRow0;
using ::testing::Contains;

class CompressedOddities : public support::CompressedTest {
 protected:
  /// A plain stream on a new file with its dictionary part written out.
  static std::unique_ptr<VORN_FileStream> newPlain(const std::string& path, bool encrypt = false) {
    auto plain = std::make_unique<VORN_FileStream>(path.c_str(), "w+b", encrypt);
    const std::string dictionary = support::dictionaryBytes(kRow0);
    plain->Write(dictionary.data(), dictionary.size());
    plain->Flush();
    return plain;
  }
  static void writeAll(zcmpsFilestr& stream, std::size_t length) {
    stream.setRow0Pos(kRow0);
    stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    support::writeCases(stream, length);
  }
};

TEST_F(CompressedOddities, WhatThePlainStreamFlushesLaterHitsTheBlocks_KeptAsIs) {
  const auto plain = newPlain(folder.path("f"));
  zcmpsFilestr stream(*plain);
  writeAll(stream, kBlock);
  plain->Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
  plain->Write("over whatever lies there, the heading and the first block", 57);
  plain->Flush();
  EXPECT_EQ(stream.Close(), 1);
  EXPECT_NE(contents("f").fault, "") << "the first block was hit";
}

TEST_F(CompressedOddities, WhatThePlainStreamStillBuffersWhenTheFileIsFinishedIsLost_KeptAsIs) {
  const auto plain = newPlain(folder.path("f"));
  zcmpsFilestr stream(*plain);
  writeAll(stream, 100);
  plain->Seek(0, VORN_StrBaseIO::SeekFromStart);
  EXPECT_EQ(plain->Write("lost", 4), 4U);
  EXPECT_EQ(stream.Close(), 1);
  EXPECT_EQ(plain->Close(), 0) << "its raw file was closed";
  EXPECT_EQ(folder.readAt("f", 0, 4), support::dictionaryBytes(kRow0).substr(0, 4));
}

TEST_F(CompressedOddities, AppendingOverwritesTheOldTableBeforeTheNewOneExists_KeptAsIs) {
  makeFile("f", kBlock);
  {
    const auto stream = support::startAppending(folder.path("f"), kRow0 + static_cast<int64>(kBlock));
    support::writeCases(*stream, kBlock);
    probe.failEvery(support::CallKind::write, ENOSPC);
    EXPECT_THROW(stream->Close(), StringSysError);
    EXPECT_THROW(stream->Close(), StringSysError);
    EXPECT_NE(contents("f").fault, "") << "the heading names a table that is no longer there";
    probe.failNone();
  }
  const support::Contents found = contents("f");
  EXPECT_EQ(found.fault, "") << "its destruction has finished it";
  EXPECT_EQ(found.data.size(), 2 * kBlock);
}

TEST_F(CompressedOddities, AnEncipheredFileIsTakenButCannotBeRead_KeptAsIs) {
  const support::ToyCipher cipher;
  SetKeepEncrypt(true);
  const auto plain = newPlain(folder.path("f"), true);
  SetKeepEncrypt(false);
  zcmpsFilestr stream(*plain);
  writeAll(stream, 100);
  EXPECT_EQ(stream.Close(), 1);
  EXPECT_THAT(assertions.takeTexts(), Contains("ret == stLength"));
  EXPECT_NE(contents("f").fault, "");
}

}  // namespace
