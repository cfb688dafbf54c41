// Each library reads what the other one writes and appends.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <tuple>

#include "../support/sources.h"
#include "Datasource/fileStream.h"
#include "Datasource/zcmpsFilestr.h"
#include "casefile/appender.h"
#include "casefile/reader.h"
#include "casefile/writer.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using casefile::Appender;
using casefile::AppenderOptions;
using casefile::Encoder;
using casefile::Reader;
using casefile::ReaderOptions;
using casefile::Writer;
using casefile::WriterOptions;
using support::kBlock;

constexpr std::size_t kMore = kBlock / 3;

std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

// A file in a folder of its own, by way of either library. All bytes tell their place.
class Crossing : public testing::Test {
 protected:
  std::string data(std::size_t count) const { return support::caseBytes(row0_, count); }
  std::string dataFrom(std::size_t start, std::size_t count) const {
    return support::caseBytes(row0_ + static_cast<int64>(start), count);
  }

  void write(std::size_t count, std::size_t threads, Encoder encoder) {
    WriterOptions options;
    options.threads = threads;
    options.encoder = encoder;
    Writer writer = Writer::create(path_, options);
    writer.writeDictionary(bytesOf(support::dictionaryBytes(row0_)));
    writer.write(bytesOf(data(count)));
    writer.finish();
  }

  void append(std::size_t before, std::size_t count, std::size_t threads) {
    AppenderOptions options;
    options.row0 = row0_;
    options.threads = threads;
    Appender appender = Appender::open(path_, options);
    appender.write(bytesOf(dataFrom(before, count)));
    appender.finish();
  }

  // Behind a dictionary part that is there already.
  void streamCaseData(std::size_t count) {
    VORN_FileStream plain(path_.c_str(), "r+b");
    zcmpsFilestr stream(plain);
    stream.setRow0Pos(row0_);
    stream.Seek(row0_, VORN_StrBaseIO::SeekFromStart);
    const std::string bytes = data(count);
    EXPECT_EQ(stream.Write(bytes.data(), bytes.size()), bytes.size());
    EXPECT_EQ(stream.Close(), 1);
  }

  void streamMore(std::size_t before, std::size_t count, bool swapped = false) {
    VORN_FileStream plain(path_.c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.readFilePosInfo(row0_, swapped);
    const int64 end = row0_ + static_cast<int64>(before);
    stream.Seek(end, VORN_StrBaseIO::SeekFromStart);
    stream.setFileToAppend(end, swapped);
    const std::string bytes = dataFrom(before, count);
    EXPECT_EQ(stream.Write(bytes.data(), bytes.size()), bytes.size());
    EXPECT_EQ(stream.Close(), 1);
  }

  // Both libraries read exactly `count` bytes.
  void expectBothRead(std::size_t count, std::size_t threads, bool swapped = false) {
    const std::string expected = data(count);
    EXPECT_TRUE(support::sameBytes(readInOrder(threads, swapped), expected));
    EXPECT_TRUE(support::sameBytes(streamAll(count, swapped), expected));
  }

  std::string readInOrder(std::size_t threads, bool swapped) {
    ReaderOptions options;
    options.row0 = row0_;
    options.threads = threads;
    const Reader reader = Reader::open(path_, options);
    EXPECT_EQ(reader.swapped(), swapped);
    std::string bytes;
    reader.read({row0_, INT64_MAX - row0_},
                [&](std::span<const std::byte> piece, int64) { bytes += support::text(piece); });
    return bytes;
  }

  std::string streamAll(std::size_t count, bool swapped) {
    VORN_FileStream plain(path_.c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.readFilePosInfo(row0_, swapped);
    stream.Seek(row0_, VORN_StrBaseIO::SeekFromStart);
    std::string bytes(count + 1, '?');
    std::size_t done = 0;
    while (done < bytes.size()) {
      const std::size_t got = stream.Read(bytes.data() + done, std::min(bytes.size() - done, kBlock));
      if (got == 0) {
        break;
      }
      done += got;
    }
    bytes.resize(done);
    return bytes;
  }

  support::Deadline deadline_{"Crossing"};
  support::TestFolder folder_;
  const std::string path_ = folder_.path("file");
  int64 row0_ = 100;
};

class CrossingSizes : public Crossing, public testing::WithParamInterface<std::tuple<std::size_t, std::size_t>> {
 protected:
  std::size_t bytes() const { return std::get<0>(GetParam()); }
  std::size_t threads() const { return std::get<1>(GetParam()); }
};

TEST_P(CrossingSizes, WhatTheWriterWritesByAnyEncoderBothRead) {
  for (const Encoder encoder : {Encoder::automatic, Encoder::zlib, Encoder::libdeflate, Encoder::fast}) {
    write(bytes(), threads(), encoder);
    expectBothRead(bytes(), threads());
  }
}

TEST_P(CrossingSizes, WhatTheStreamWritesBothRead) {
  folder_.writePlain("file", support::dictionaryBytes(row0_));
  streamCaseData(bytes());
  expectBothRead(bytes(), threads());
}

TEST_P(CrossingSizes, WhatEitherAppendsToTheOthersFileBothRead) {
  folder_.writePlain("file", support::dictionaryBytes(row0_));
  streamCaseData(bytes());
  append(bytes(), kMore, threads());
  streamMore(bytes() + kMore, 2 * kMore);
  append(bytes() + 3 * kMore, 1, threads());
  expectBothRead(bytes() + 3 * kMore + 1, threads());
}

TEST_P(CrossingSizes, AFileOfTheOtherByteOrderIsReadAndAppendedToByBoth) {
  support::Image image = support::Image::of(row0_, support::wholeBlocks(bytes()));
  image.swapped = true;
  folder_.writePlain("file", image.bytes());
  expectBothRead(bytes(), threads(), true);
  append(bytes(), kMore, threads());
  expectBothRead(bytes() + kMore, threads());
  folder_.writePlain("file", image.bytes());
  streamMore(bytes(), kMore, true);
  append(bytes() + kMore, kMore, threads());
  expectBothRead(bytes() + 2 * kMore, threads());
}

INSTANTIATE_TEST_SUITE_P(BytesAndThreads, CrossingSizes,
                         testing::Combine(testing::Values(0, 1, kBlock, kBlock + 1, 3 * kBlock),
                                          testing::Values(1, 2, 8)));

TEST_F(Crossing, FortyBlocksOfEitherBothRead) {
  write(40 * kBlock, 2, Encoder::automatic);
  expectBothRead(40 * kBlock, 2);
  folder_.writePlain("file", support::dictionaryBytes(row0_));
  streamCaseData(40 * kBlock);
  append(40 * kBlock, kBlock + 1, 2);
  expectBothRead(41 * kBlock + 1, 2);
}

// Positions that do not fit 32 bits, in a file that takes hardly any room.
class CrossingBehindFourGiB : public Crossing {
 protected:
  CrossingBehindFourGiB() { row0_ = (int64{1} << 32) + 12'345; }

  void SetUp() override {
    const auto room = [this] { return static_cast<int64>(std::filesystem::space(folder_.folder()).available); };
    const int64 before = room();
    if (before < 2 * row0_) {
      GTEST_SKIP() << "no room for a dictionary part of 4 GiB should the file system have no holes";
    }
    folder_.writePlain("file", "dictionary");
    folder_.truncateTo("file", row0_);
    if (before - room() > row0_ / 2) {
      GTEST_SKIP() << "the file system has no holes";
    }
  }
};

TEST_F(CrossingBehindFourGiB, WhatTheStreamWritesBothReadAndAppendTo) {
  streamCaseData(kBlock + 1000);
  expectBothRead(kBlock + 1000, 2);
  append(kBlock + 1000, kMore, 2);
  streamMore(kBlock + 1000 + kMore, kMore);
  append(kBlock + 1000 + 2 * kMore, 2 * kBlock, 2);
  expectBothRead(3 * kBlock + 1000 + 2 * kMore, 2);
}

TEST_F(CrossingBehindFourGiB, TheReaderReadsFromTheDictionaryPartIntoTheCaseData) {
  streamCaseData(kBlock + 1000);
  ReaderOptions options;
  options.row0 = row0_;
  const Reader reader = Reader::open(path_, options);
  std::string bytes(20, '?');
  EXPECT_EQ(reader.readAt(support::writable(bytes), row0_ - 10), 20U);
  EXPECT_EQ(bytes, std::string(10, '\0') + data(10));
  EXPECT_EQ(reader.readAt(support::writable(bytes), 0), 20U);
  EXPECT_EQ(bytes, "dictionary" + std::string(10, '\0'));
  EXPECT_EQ(reader.size(), row0_ + static_cast<int64>(kBlock) + 1000);
}

}  // namespace
