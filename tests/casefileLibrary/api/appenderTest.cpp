#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "../support/sources.h"
#include "Datasource/fileStream.h"
#include "Datasource/zcmpsFilestr.h"
#include "casefile/appender.h"
#include "casefile/error.h"
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
using casefile::ErrorKind;
using casefile::Next;
using casefile::Progress;
using casefile::Reader;
using casefile::Writer;
using support::errorOf;
using support::Image;
using support::kBlock;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int64 kRow0 = 100;

std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

AppenderOptions options(std::size_t threads) {
  AppenderOptions result;
  result.threads = threads;
  result.encoder = Encoder::zlib;
  return result;
}

class AppenderTest : public testing::Test {
 protected:
  void writeFile(const std::string& name, std::size_t caseBytes, int64 row0 = kRow0) {
    casefile::WriterOptions asTheStreams;
    asTheStreams.encoder = Encoder::zlib;
    Writer writer = Writer::create(path(name), asTheStreams);
    writer.writeDictionary(bytesOf(support::dictionaryBytes(row0)));
    writer.write(bytesOf(support::caseBytes(row0, caseBytes)));
    writer.finish();
  }

  // Appends by way of the streams.
  void streamMore(const std::string& name, int64 end, const std::string& more) {
    VORN_FileStream plain(path(name).c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.readFilePosInfo(kRow0, false);
    stream.Seek(end, VORN_StrBaseIO::SeekFromStart);
    stream.setFileToAppend(end, false);
    ASSERT_EQ(stream.Write(more.data(), more.size()), more.size());
    ASSERT_EQ(stream.Close(), 1);
  }

  std::string read(const std::string& name) {
    std::string bytes;
    Reader::open(path(name)).read({kRow0, INT64_MAX - kRow0}, [&](std::span<const std::byte> piece, int64) {
      bytes += support::text(piece);
    });
    return bytes;
  }

  std::vector<std::string> names() {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.folder())) {
      found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  std::string path(const std::string& name) const { return folder_.path(name); }

  support::Deadline deadline_{"AppenderTest"};
  support::TestFolder folder_;
};

// Case data before, and bytes that are appended.
class AppenderSizes : public AppenderTest,
                      public testing::WithParamInterface<std::tuple<std::pair<std::size_t, std::size_t>, int>> {};

TEST_P(AppenderSizes, GiveTheBytesThatTheStreamsGive) {
  const auto [before, added] = std::get<0>(GetParam());
  const auto threads = static_cast<std::size_t>(std::get<1>(GetParam()));
  writeFile("file", before);
  folder_.copy("file", "streams");
  const std::string more = support::caseBytes(kRow0 + static_cast<int64>(before), added);
  streamMore("streams", kRow0 + static_cast<int64>(before), more);

  Appender appender = Appender::open(path("file"), options(threads));
  EXPECT_EQ(appender.row0(), kRow0);
  EXPECT_EQ(appender.position(), kRow0 + static_cast<int64>(before));
  const std::size_t piece = std::max<std::size_t>(1, added / 3);
  for (std::size_t at = 0; at < added; at += piece) {
    appender.write(bytesOf(more).subspan(at, std::min(piece, added - at)));
  }
  EXPECT_EQ(appender.position(), kRow0 + static_cast<int64>(before + added));
  appender.finish();
  EXPECT_FALSE(appender.leftBehind());
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), folder_.readWhole("streams")));
  EXPECT_TRUE(support::sameBytes(read("file"), support::caseBytes(kRow0, before + added)));
  EXPECT_THAT(names(), ElementsAre("file", "streams"));
}

INSTANTIATE_TEST_SUITE_P(Sizes, AppenderSizes,
                         testing::Combine(testing::Values(std::pair<std::size_t, std::size_t>{0, 1},
                                                          std::pair<std::size_t, std::size_t>{0, kBlock},
                                                          std::pair<std::size_t, std::size_t>{1000, 5},
                                                          std::pair<std::size_t, std::size_t>{1000, kBlock - 1000},
                                                          std::pair<std::size_t, std::size_t>{kBlock, 7},
                                                          std::pair<std::size_t, std::size_t>{kBlock + 3, 4 * kBlock},
                                                          std::pair<std::size_t, std::size_t>{2 * kBlock,
                                                                                              3 * kBlock + 1}),
                                          testing::Values(1, 2, 8)));

TEST_F(AppenderTest, AnAppendOfNothingLeavesTheFileAsItIs) {
  writeFile("file", 1000);
  const std::string before = folder_.readWhole("file");
  Appender appender = Appender::open(path("file"));
  appender.write({});
  appender.finish();
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), before));
  EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_P(AppenderSizes, CanBeReadStraightIntoTheBlocks) {
  const auto [before, added] = std::get<0>(GetParam());
  const auto threads = static_cast<std::size_t>(std::get<1>(GetParam()));
  writeFile("file", before);
  const std::string more = support::caseBytes(kRow0 + static_cast<int64>(before), added);
  Appender appender = Appender::open(path("file"), options(threads));
  for (std::size_t at = 0; at < added;) {
    const auto room = appender.room();
    ASSERT_FALSE(room.empty());
    const std::size_t count = std::min({std::size_t{1} << 20, room.size(), added - at});
    std::copy_n(bytesOf(more).begin() + static_cast<std::ptrdiff_t>(at), count, room.begin());
    appender.advance(count);
    at += count;
    if (at < added) {
      appender.write(bytesOf(more).subspan(at++, 1));
    }
  }
  EXPECT_EQ(appender.position(), kRow0 + static_cast<int64>(before + added));
  appender.finish();
  EXPECT_TRUE(support::sameBytes(read("file"), support::caseBytes(kRow0, before + added)));
}

TEST_F(AppenderTest, RoomThatNobodyFillsLeavesTheFileAsItIs) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1000}, kBlock}) {
    writeFile("file", size);
    const std::string before = folder_.readWhole("file");
    Appender appender = Appender::open(path("file"), options(2));
    EXPECT_FALSE(appender.room().empty());
    appender.advance(0);
    appender.finish();
    EXPECT_FALSE(appender.leftBehind());
    EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), before));
    EXPECT_THAT(names(), ElementsAre("file"));
  }
}

TEST_F(AppenderTest, MoreThanTheRoomOfTheCallBeforeIsWrongUse) {
  writeFile("file", 1000);
  Appender appender = Appender::open(path("file"), options(2));
  EXPECT_EQ(errorOf([&] { appender.advance(1); }).kind(), ErrorKind::usage);
  const std::size_t size = appender.room().size();
  EXPECT_EQ(errorOf([&] { appender.advance(size + 1); }).kind(), ErrorKind::usage);
  appender.write(bytesOf("more"));
  EXPECT_EQ(errorOf([&] { appender.advance(1); }).kind(), ErrorKind::usage) << "another call came in between";
  appender.finish();
  EXPECT_EQ(errorOf([&] { appender.room(); }).kind(), ErrorKind::usage);
  EXPECT_EQ(Reader::open(path("file")).size(), kRow0 + 1004);
}

TEST_F(AppenderTest, CancelAndTheDestructorLeaveTheOldFile) {
  writeFile("file", 1000);
  const std::string before = folder_.readWhole("file");
  for (const bool cancels : {true, false}) {
    Appender appender = Appender::open(path("file"), options(2));
    appender.write(bytesOf(support::caseBytes(0, 2 * kBlock)));
    EXPECT_THAT(names(), ElementsAre("file", "file.journal"));
    if (cancels) {
      appender.cancel();
      EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), before));
      EXPECT_EQ(errorOf([&] { appender.finish(); }).kind(), ErrorKind::usage);
    }
  }
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), before));
  EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_F(AppenderTest, ABlockThatDoesNotFitNamesItsRangeAndTheOldFileIsBack) {
  writeFile("file", kBlock);
  const std::string before = folder_.readWhole("file");
  Appender appender = Appender::open(path("file"), options(2));
  const auto error = errorOf([&] {
    appender.write(bytesOf(support::randomBytes(kBlock, 1)));
    appender.finish();
  });
  EXPECT_EQ(error.kind(), ErrorKind::doesNotFit) << error.what();
  ASSERT_TRUE(error.range());
  EXPECT_EQ(error.range()->start, kRow0 + support::kBlockLength);
  EXPECT_THAT(error.what(), HasSubstr("block 1 "));
  EXPECT_EQ(errorOf([&] { appender.write(bytesOf("more")); }).kind(), ErrorKind::doesNotFit);
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), before));
  EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_F(AppenderTest, ACallbackThatSaysStopTakesTheAppendBackAtEveryBlock) {
  writeFile("file", kBlock / 2);
  const std::string before = folder_.readWhole("file");
  for (const std::size_t threads : {std::size_t{1}, std::size_t{2}}) {
    for (int64 stopAt = 0; stopAt < 3; ++stopAt) {
      AppenderOptions stopped = options(threads);
      stopped.progress = [&](const Progress& now) {
        return now.bytesDone >= stopAt * support::kBlockLength ? Next::stop : Next::proceed;
      };
      const auto error = errorOf([&] {
        // What is told while the file is opened does not count: it has one heading, at its beginning.
        AppenderOptions opening = stopped;
        opening.row0 = kRow0;
        Appender appender = Appender::open(path("file"), opening);
        appender.write(bytesOf(support::caseBytes(0, 4 * kBlock)));
        appender.finish();
      });
      EXPECT_EQ(error.kind(), ErrorKind::cancelled) << error.what();
      EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), before));
      EXPECT_THAT(names(), ElementsAre("file"));
    }
  }
}

TEST_F(AppenderTest, WhatAKilledAppendLeftIsTakenBackByTheNextOne) {
  writeFile("file", 1000);
  const std::string before = folder_.readWhole("file");
  {
    Appender killed = Appender::open(path("file"), options(1));
    killed.write(bytesOf(support::caseBytes(0, 2 * kBlock)));
    folder_.copy("file.journal", "kept");
  }
  EXPECT_FALSE(Appender::open(path("file")).tookBack());
  folder_.copy("kept", "file.journal");
  std::filesystem::permissions(path("file.journal"),
                               std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  std::filesystem::resize_file(path("file"), before.size() + 1000);
  EXPECT_TRUE(Appender::open(path("file")).tookBack());
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), before));
  EXPECT_THAT(names(), ElementsAre("file", "kept"));
}

TEST_F(AppenderTest, OneAppenderAtATime) {
  writeFile("file", 1000);
  const Appender first = Appender::open(path("file"));
  const auto error = errorOf([&] { Appender::open(path("file")); });
  EXPECT_EQ(error.kind(), ErrorKind::busy) << error.what();
}

TEST_F(AppenderTest, WhatIsNoDataFileIsRefused) {
  folder_.writePlain("file", "nothing of the kind");
  EXPECT_EQ(errorOf([&] { Appender::open(path("file")); }).kind(), ErrorKind::notADataFile);
  EXPECT_EQ(errorOf([&] { Appender::open(path("missing")); }).kind(), ErrorKind::system);
  EXPECT_EQ(errorOf([&] { Appender::open(""); }).kind(), ErrorKind::usage);
  EXPECT_EQ(errorOf([&] { Appender::open(folder_.folder().string()); }).file(), folder_.folder().string());
}

TEST_F(AppenderTest, AFileWithoutADictionaryPartIsRefused) {
  folder_.writePlain("file", Image::of(0, {1000}).bytes());
  const auto error = errorOf([&] { Appender::open(path("file")); });
  EXPECT_EQ(error.kind(), ErrorKind::damaged);
  EXPECT_THAT(error.what(), HasSubstr("no dictionary part"));
}

// Between blocks and table there may be more of the last block than its record says.
TEST_F(AppenderTest, InFrontOfSpareBytesTheLastBlockFillsItsRecord) {
  const auto opened = [this](const Image& image) {
    folder_.writePlain("file", image.bytes());
    AppenderOptions told;
    told.row0 = kRow0;
    return errorOf([&] { Appender::open(path("file"), told).write(bytesOf("more")); });
  };
  const auto spare = [](Image& image, std::size_t bytes) {
    image.blocks.emplace_back(bytes, '?');
    image.heading._infoPos += static_cast<int64>(bytes);
  };
  for (const auto& lengths : {std::vector<std::size_t>{}, {300}, {500, 300}}) {
    Image sound = Image::of(kRow0, lengths);
    spare(sound, 20);
    EXPECT_THAT(opened(sound).what(), HasSubstr("no error"));
  }
  Image longer = Image::of(kRow0, {300});
  spare(longer, 20);
  longer.records[0].translateSize += 10;
  Image wrong = Image::of(kRow0, {300});
  spare(wrong, 20);
  wrong.blocks[0].back() = static_cast<char>(wrong.blocks[0].back() ^ 1);
  for (const Image& image : {longer, wrong}) {
    const auto error = opened(image);
    EXPECT_EQ(error.kind(), ErrorKind::damaged);
    EXPECT_THAT(error.what(), HasSubstr("block 0 (logical bytes 100 to 399) does not fill its record"));
    EXPECT_EQ(error.filePosition(), image.records[0].translatePos);
    EXPECT_EQ(error.range(), (casefile::LogicalRange{kRow0, 300}));
  }
}

TEST_F(AppenderTest, OtherCaseDataBehindTheTableAreNotOverwritten) {
  writeFile("file", 1000);
  writeFile("other", 3000, kRow0 / 2);
  const std::string bytes = folder_.readWhole("file") + folder_.readWhole("other");
  folder_.writePlain("both", bytes);
  AppenderOptions told;
  told.row0 = kRow0;
  const auto error = errorOf([&] { Appender::open(path("both"), told); });
  EXPECT_EQ(error.kind(), ErrorKind::notADataFile) << error.what();
  EXPECT_THAT(error.what(), HasSubstr("behind its table lies"));
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("both"), bytes));
}

TEST_F(AppenderTest, ReadsWhatTheFileHoldsUntilSomethingIsWritten) {
  writeFile("file", kBlock + 1000);
  Appender appender = Appender::open(path("file"));
  const std::string whole = support::dictionaryBytes(kRow0) + support::caseBytes(kRow0, kBlock + 1000);
  std::string bytes(kRow0 + kBlock + 2000, '?');
  bytes.resize(appender.readAt(support::writable(bytes), 0));
  EXPECT_TRUE(support::sameBytes(bytes, whole));
  bytes.assign(7, '?');
  EXPECT_EQ(appender.readAt(support::writable(bytes), kRow0 + static_cast<int64>(kBlock) - 3), 7U);
  EXPECT_EQ(bytes, whole.substr(kRow0 + kBlock - 3, 7));
  EXPECT_EQ(appender.readAt(support::writable(bytes), static_cast<int64>(whole.size())), 0U);
  EXPECT_EQ(errorOf([&] { appender.readAt(support::writable(bytes), -1); }).kind(), ErrorKind::usage);
  EXPECT_EQ(errorOf([&] { appender.readAt({static_cast<std::byte*>(nullptr), 3}, 0); }).kind(), ErrorKind::usage);
  appender.write(bytesOf("more"));
  EXPECT_EQ(errorOf([&] { appender.readAt(support::writable(bytes), 0); }).kind(), ErrorKind::usage);
  appender.finish();
  EXPECT_TRUE(support::sameBytes(read("file"), whole.substr(kRow0) + "more"));
}

TEST_F(AppenderTest, OneThatWasMovedFromIsUsedWrongly) {
  writeFile("file", 1000);
  Appender first = Appender::open(path("file"));
  Appender second = std::move(first);
  // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): that is what is tested
  EXPECT_EQ(errorOf([&] { first.finish(); }).kind(), ErrorKind::usage);
  second.finish();
  EXPECT_EQ(errorOf([&] { second.finish(); }).kind(), ErrorKind::usage);
}

}  // namespace
