// Each codec that is built in writes files that every reader reads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "../support/sources.h"
#include "Datasource/fileStream.h"
#include "Datasource/zcmpsFilestr.h"
#include "casefile/appender.h"
#include "casefile/encoder.h"
#include "casefile/error.h"
#include "casefile/reader.h"
#include "casefile/version.h"
#include "casefile/writer.h"
#include "support/compressedBytes.h"
#include "support/deadline.h"
#include "support/overrunningBlock.h"
#include "support/testFolder.h"

namespace {

using casefile::Appender;
using casefile::Encoder;
using casefile::ErrorKind;
using casefile::Reader;
using casefile::Writer;
using support::errorOf;
using support::kBlock;

constexpr int64 kRow0 = 100;

std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

std::vector<Encoder> builtIn() {
  std::vector<Encoder> encoders = {Encoder::automatic, Encoder::zlib, Encoder::libdeflate, Encoder::fast};
  const auto names = casefile::codecs();
  if (std::find(names.begin(), names.end(), "isal") != names.end()) {
    encoders.push_back(Encoder::isal);
  }
  return encoders;
}

class EncoderTest : public testing::Test {
 protected:
  std::string path() const { return folder_.path("file"); }

  void write(const std::string& data, Encoder encoder, std::size_t threads = 2) {
    casefile::WriterOptions options;
    options.encoder = encoder;
    options.threads = threads;
    Writer writer = Writer::create(path(), options);
    writer.writeDictionary(bytesOf(support::dictionaryBytes(kRow0)));
    writer.write(bytesOf(data));
    writer.finish();
  }

  void append(const std::string& data, Encoder encoder) {
    casefile::AppenderOptions options;
    options.encoder = encoder;
    Appender appender = Appender::open(path(), options);
    appender.write(bytesOf(data));
    appender.finish();
  }

  std::string byReader() const {
    casefile::ReaderOptions where;
    where.row0 = kRow0;
    const Reader reader = Reader::open(path(), where);
    std::string bytes(static_cast<std::size_t>(reader.size() - kRow0), '?');
    bytes.resize(reader.readAt(support::writable(bytes), kRow0));
    return bytes;
  }

  std::string byStream(std::size_t length) const {
    VORN_FileStream plain(path().c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.readFilePosInfo(kRow0, false);
    std::string bytes(length, '?');
    for (std::size_t at = 0; at < length; at += kBlock) {
      const std::size_t count = std::min(kBlock, length - at);
      stream.Seek(kRow0 + static_cast<int64>(at), VORN_StrBaseIO::SeekFromStart);
      EXPECT_EQ(stream.Read(bytes.data() + at, count), count);
    }
    return bytes;
  }

  void expectReadBack(const std::string& data) const {
    EXPECT_TRUE(support::sameBytes(byReader(), data));
    EXPECT_TRUE(support::sameBytes(byStream(data.size()), data));
  }

  support::Deadline deadline_{"EncoderTest"};
  support::TestFolder folder_;
};

TEST_F(EncoderTest, EveryReaderReadsWhatEachWrites) {
  for (const Encoder encoder : builtIn()) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, kBlock, 2 * kBlock + 1}) {
      for (const std::size_t threads : {1U, 2U, 8U}) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(encoder) << ", " << length << ", " << threads);
        const std::string data = support::caseBytes(kRow0, length);
        write(data, encoder, threads);
        expectReadBack(data);
      }
    }
  }
}

TEST_F(EncoderTest, EachAppendsToWhatAnyOtherHasWritten) {
  const std::string data = support::caseBytes(kRow0, 2 * kBlock + 1000);
  const std::size_t half = kBlock / 2;
  for (const Encoder first : builtIn()) {
    for (const Encoder second : builtIn()) {
      SCOPED_TRACE(testing::Message() << static_cast<int>(first) << " and then " << static_cast<int>(second));
      write(data.substr(0, half), first);
      append(data.substr(half), second);
      expectReadBack(data);
    }
  }
}

TEST_F(EncoderTest, AFileIsTheSameWhateverTheThreads) {
  const std::string data = support::caseBytes(kRow0, 3 * kBlock + 5);
  for (const Encoder encoder : builtIn()) {
    write(data, encoder, 1);
    const std::string alone = folder_.readWhole("file");
    write(data, encoder, 8);
    EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), alone)) << static_cast<int>(encoder);
  }
}

// By zlib such a block fits, or lacks a part of its check value alone, which readers do without.
TEST_F(EncoderTest, ABlockThatZlibBringsIntoTheRoomIsNoErrorOfAny) {
  for (const std::size_t over : {0U, 1U, 4U}) {
    const std::string data = support::overrunning(kBlock, over) + "and more";
    for (const Encoder encoder : builtIn()) {
      SCOPED_TRACE(testing::Message() << static_cast<int>(encoder) << ", " << over << " bytes too many");
      write(data, encoder);
      expectReadBack(data);
    }
  }
}

TEST_F(EncoderTest, ABlockThatLacksAPartOfItsCheckValueIsTheStreamsToTheByte) {
  const std::string data = support::overrunning(kBlock, 3);
  write(data, Encoder::zlib);
  const std::string bytes = folder_.readWhole("file");
  {
    VORN_FileStream plain(path().c_str(), "wb");
    const std::string dictionary = support::dictionaryBytes(kRow0);
    plain.Write(dictionary.data(), dictionary.size());
    zcmpsFilestr stream(plain);
    stream.setRow0Pos(kRow0);
    stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    stream.Write(data.data(), data.size());
    ASSERT_EQ(stream.Close(), 1);
  }
  EXPECT_TRUE(support::sameBytes(bytes, folder_.readWhole("file")));
}

TEST_F(EncoderTest, ABlockThatWouldLoseDataIsAnError) {
  const std::string data = support::overrunning(kBlock, 9);
  EXPECT_EQ(errorOf([&] { write(data, Encoder::zlib); }).kind(), ErrorKind::doesNotFit);
  for (const Encoder encoder : builtIn()) {
    const auto error = errorOf([&] { write(support::randomBytes(kBlock, 1), encoder); });
    EXPECT_EQ(error.kind(), ErrorKind::doesNotFit) << static_cast<int>(encoder);
  }
  EXPECT_FALSE(folder_.exists("file"));
}

TEST_F(EncoderTest, OneThatIsNotBuiltInIsUsedWronglyAndChangesNothing) {
  constexpr auto kNone = static_cast<Encoder>(17);
  EXPECT_EQ(errorOf([&] { write("data", kNone); }).kind(), ErrorKind::usage);
  EXPECT_FALSE(folder_.exists("file"));
  write("data", Encoder::zlib);
  const std::string before = folder_.readWhole("file");
  EXPECT_EQ(errorOf([&] { append("more", kNone); }).kind(), ErrorKind::usage);
  EXPECT_EQ(folder_.readWhole("file"), before);
  const auto names = casefile::codecs();
  const bool hasIsal = std::find(names.begin(), names.end(), "isal") != names.end();
  const auto error = errorOf([&] { write("data", Encoder::isal); });
  EXPECT_EQ(error.kind() == ErrorKind::usage, !hasIsal) << error.what();
}

}  // namespace
