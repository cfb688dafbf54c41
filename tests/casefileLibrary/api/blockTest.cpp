// Blocks that are compressed by themselves and put into a file as they are.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "../support/sources.h"
#include "casefile/block.h"
#include "casefile/error.h"
#include "casefile/verify.h"
#include "casefile/writer.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"
#include "support/overrunningBlock.h"
#include "support/testFolder.h"

namespace {

using casefile::Encoder;
using casefile::Error;
using casefile::ErrorKind;
using casefile::LogicalRange;
using casefile::Writer;
using support::errorOf;
using support::kBlock;

constexpr int64 kRow0 = 100;

std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

class BlockTest : public testing::Test {
 protected:
  Writer begun(std::size_t threads, const std::string& name = "new") {
    casefile::WriterOptions options;
    options.threads = threads;
    options.encoder = Encoder::zlib;
    Writer writer = Writer::create(folder_.path(name), options);
    writer.writeDictionary(bytesOf(support::dictionaryBytes(kRow0)));
    return writer;
  }

  // What becomes of a file whose second block is said to be these bytes.
  Error refusalOf(const std::string& bytes, std::size_t threads) {
    return errorOf([&] {
      Writer writer = begun(threads);
      writer.writeBlock(casefile::compressBlock(bytesOf(std::string(kBlock, 'a'))));
      writer.writeBlock(bytesOf(bytes));
      writer.finish();
    });
  }

  support::Deadline deadline_{"BlockTest"};
  support::TestFolder folder_;
};

TEST_F(BlockTest, AFileOfReadyBlocksIsTheWritersToTheByteWhateverTheThreads) {
  const std::string data = support::caseBytes(kRow0, 5 * kBlock + 1000);
  Writer whole = begun(1, "whole");
  whole.write(bytesOf(data));
  whole.finish();
  for (const std::size_t threads : {1U, 2U, 8U}) {
    Writer writer = begun(threads);
    for (std::size_t block = 0; block < 5; ++block) {
      const auto bytes = bytesOf(data).subspan(block * kBlock, kBlock);
      if (block == 2) {
        writer.write(bytes.first(10));  // as the end of one part and the beginning of the next
        writer.write(bytes.subspan(10));
      } else {
        writer.writeBlock(casefile::compressBlock(bytes, Encoder::zlib));
      }
    }
    EXPECT_EQ(writer.position(), kRow0 + static_cast<int64>(5 * kBlock));
    writer.write(bytesOf(data).subspan(5 * kBlock));
    writer.finish();
    EXPECT_TRUE(support::sameBytes(folder_.readWhole("new"), folder_.readWhole("whole"))) << threads << " threads";
  }
}

TEST_F(BlockTest, BlocksOfEachEncoderAreTaken) {
  const std::string data = support::caseBytes(kRow0, kBlock);
  Writer writer = begun(2);
  for (const Encoder encoder : {Encoder::automatic, Encoder::zlib, Encoder::libdeflate, Encoder::fast}) {
    writer.writeBlock(casefile::compressBlock(bytesOf(data), encoder));
  }
  writer.finish();
  EXPECT_TRUE(casefile::verify(folder_.path("new")).sound());
}

TEST_F(BlockTest, WhatIsNoWholeBlockIsRefusedAndTheFileNeverAppears) {
  const std::string plain = support::caseBytes(0, kBlock);
  const std::string good = support::zipped(plain);
  std::string spoilt = good;
  spoilt[good.size() / 2] = static_cast<char>(spoilt[good.size() / 2] ^ 0x10);
  std::string wrongCheck = good;
  wrongCheck.back() = static_cast<char>(wrongCheck.back() ^ 1);
  const std::vector<std::string> wrong = {spoilt,
                                          wrongCheck,
                                          good + "x",
                                          good.substr(0, good.size() - 1),
                                          plain.substr(10),
                                          support::zipped(plain.substr(1)),
                                          "x",
                                          support::zipped(plain + "x")};
  for (const std::size_t threads : {1U, 4U}) {
    for (const std::string& bytes : wrong) {
      const Error error = refusalOf(bytes, threads);
      EXPECT_EQ(error.kind(), ErrorKind::damaged) << error.what();
      EXPECT_EQ(error.range(), (LogicalRange{kRow0 + static_cast<int64>(kBlock), static_cast<int64>(kBlock)}));
      EXPECT_TRUE(std::filesystem::is_empty(folder_.folder()));
    }
  }
}

TEST_F(BlockTest, ABlockThatLacksAPartOfItsCheckValueOnlyIsTaken) {
  const std::string data = support::overrunning(kBlock, 2);
  const auto compressed = casefile::compressBlock(bytesOf(data), Encoder::zlib);
  EXPECT_EQ(compressed.size(), kBlock);
  Writer writer = begun(2);
  writer.writeBlock(compressed);
  writer.finish();
  EXPECT_TRUE(casefile::verify(folder_.path("new")).sound());
}

TEST_F(BlockTest, DataThatHardlyCompressDoNotFit) {
  const std::string noise = support::randomBytes(kBlock, 1);
  EXPECT_EQ(errorOf([&] { casefile::compressBlock(bytesOf(noise)); }).kind(), ErrorKind::doesNotFit);
}

TEST_F(BlockTest, OnlyAWholeBlockIsCompressedByItself) {
  EXPECT_EQ(casefile::blockSize(), kBlock);
  const std::string data(kBlock + 1, 'a');
  for (const std::size_t size : {std::size_t{0}, kBlock - 1, kBlock + 1}) {
    EXPECT_EQ(errorOf([&] { casefile::compressBlock(bytesOf(data).first(size)); }).kind(), ErrorKind::usage);
  }
  EXPECT_EQ(errorOf([&] {
              casefile::compressBlock({static_cast<const std::byte*>(nullptr), kBlock});
            }).kind(),
            ErrorKind::usage);
}

TEST_F(BlockTest, WrongUseOfAWriterChangesNothing) {
  const auto block = casefile::compressBlock(bytesOf(std::string(kBlock, 'a')));
  Writer empty = Writer::create(folder_.path("empty"));
  EXPECT_EQ(errorOf([&] { empty.writeBlock(block); }).kind(), ErrorKind::usage) << "there is no dictionary part";
  Writer writer = begun(2);
  const std::vector<std::byte> tooMany(kBlock + 1);
  EXPECT_EQ(errorOf([&] { writer.writeBlock(tooMany); }).kind(), ErrorKind::usage);
  EXPECT_EQ(errorOf([&] { writer.writeBlock({}); }).kind(), ErrorKind::usage);
  writer.writeBlock(block);
  writer.write(bytesOf("a"));
  EXPECT_EQ(errorOf([&] { writer.writeBlock(block); }).kind(), ErrorKind::usage) << "in the middle of a block";
  writer.write(bytesOf(std::string(kBlock - 1, 'a')));
  writer.writeBlock(block);
  writer.finish();
  EXPECT_EQ(errorOf([&] { writer.writeBlock(block); }).kind(), ErrorKind::usage);
  const auto found = casefile::verify(folder_.path("new"));
  EXPECT_TRUE(found.sound());
  EXPECT_EQ(found.caseBytes, static_cast<int64>(3 * kBlock));
}

TEST_F(BlockTest, RoomThatNobodyFilledIsNoObstacle) {
  Writer writer = begun(1);
  EXPECT_EQ(writer.room().size(), kBlock);
  writer.writeBlock(casefile::compressBlock(bytesOf(std::string(kBlock, 'a'))));
  EXPECT_EQ(errorOf([&] { writer.advance(1); }).kind(), ErrorKind::usage) << "another call came in between";
  writer.finish();
  EXPECT_TRUE(casefile::verify(folder_.path("new")).sound());
}

}  // namespace
