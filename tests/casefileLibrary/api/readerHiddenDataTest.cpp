#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "../support/sources.h"
#include "casefile/error.h"
#include "casefile/reader.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"

namespace {

using casefile::Error;
using casefile::ErrorKind;
using casefile::Next;
using casefile::Progress;
using casefile::Reader;
using casefile::ReaderOptions;
using support::errorOf;
using support::Image;
using support::kBlock;
using support::ScriptedSource;
using testing::HasSubstr;

constexpr int64 kInnerRow0 = 1000;
constexpr std::size_t kHeading = 24;

Reader open(const std::string& bytes, const ReaderOptions& options = {}) {
  return Reader::open(std::make_shared<ScriptedSource>(bytes), options);
}

// A compressed file whose dictionary part is a compressed file too.
class ReaderOfAFileInTheDictionaryPart : public testing::TestWithParam<bool> {
 protected:
  const std::string inner_ = Image::of(kInnerRow0, {500}).bytes();
  const int64 row0_ = static_cast<int64>(inner_.size());
  Image image_ = Image::of(row0_, {kBlock, 300});

  ReaderOfAFileInTheDictionaryPart() { image_.swapped = GetParam(); }

  std::string outer(const std::string& heading) const {
    std::string bytes = inner_ + image_.bytes().substr(inner_.size());
    return heading.empty() ? bytes : bytes.replace(inner_.size(), kHeading, heading);
  }

  std::string withoutTable(std::string bytes) const {
    return bytes.substr(0, static_cast<std::size_t>(image_.heading._infoPos));
  }

  // The inner file is not taken for the whole, unless somebody says that it is meant.
  void expectRefused(const std::string& bytes, const std::string& words) const {
    const Error error = errorOf([&] { open(bytes); });
    EXPECT_EQ(error.kind(), ErrorKind::notADataFile);
    EXPECT_EQ(error.operation(), "choose");
    EXPECT_THAT(error.what(), HasSubstr("scripted: row-0 position 1000 is not all: behind its table lies " + words));
    EXPECT_GE(error.filePosition().value_or(0), row0_);
    ReaderOptions told;
    told.row0 = kInnerRow0;
    EXPECT_EQ(open(bytes, told).size(), kInnerRow0 + 500);
  }
};

TEST_P(ReaderOfAFileInTheDictionaryPart, SeesAHeadingThatWasNeverWritten) {
  const std::string bytes = outer(std::string(kHeading, '\0'));
  const std::string words =
      "a heading that was never written, with a sound block, at row-0 position " + std::to_string(row0_);
  expectRefused(bytes, words);
  expectRefused(withoutTable(bytes), words);
}

TEST_P(ReaderOfAFileInTheDictionaryPart, SeesATableWhoseHeadingIsOverwritten) {
  expectRefused(outer(std::string(kHeading, '?')),
                "a position table of case data at row-0 position " + std::to_string(row0_));
}

TEST_P(ReaderOfAFileInTheDictionaryPart, SeesTheTableOfADamagedFirstBlock) {
  std::string bytes = outer(std::string(kHeading, '\0'));
  bytes.replace(inner_.size() + kHeading + 100, 50, 50, '?');
  expectRefused(bytes, "a position table of case data at row-0 position " + std::to_string(row0_));
}

TEST_P(ReaderOfAFileInTheDictionaryPart, SeesAHeadingWhoseTableIsMissing) {
  expectRefused(withoutTable(outer("")), "a heading at row-0 position " + std::to_string(row0_));
}

TEST_P(ReaderOfAFileInTheDictionaryPart, SeesAWholeBlockThatHasNeitherHeadingNorTable) {
  expectRefused(withoutTable(outer(std::string(kHeading, '?'))),
                "a whole block, at file position " + std::to_string(row0_ + static_cast<int64>(kHeading)));
}

TEST_P(ReaderOfAFileInTheDictionaryPart, StopsWhenTheProgramSaysSo) {
  const std::string bytes = outer(std::string(kHeading, '?'));
  bool refused = false;
  for (int call = 1; call < 100 && !refused; ++call) {
    int calls = 0;
    ReaderOptions options;
    options.progress = [&](const Progress& progress) {
      EXPECT_LE(progress.bytesDone, progress.bytesInAll);
      return ++calls == call ? Next::stop : Next::proceed;
    };
    const ErrorKind kind = errorOf([&] { open(bytes, options); }).kind();
    refused = kind == ErrorKind::notADataFile;
    EXPECT_TRUE(refused || kind == ErrorKind::cancelled) << call;
  }
  EXPECT_TRUE(refused);
}

INSTANTIATE_TEST_SUITE_P(ByteOrder, ReaderOfAFileInTheDictionaryPart, testing::Bool());

// What an append leaves behind a shorter end is no other place's data.
class ReaderOfDeadBytes : public testing::Test {
 protected:
  static void expectRead(const std::string& bytes, std::size_t caseBytes) {
    EXPECT_EQ(open(bytes).size(), kInnerRow0 + static_cast<int64>(caseBytes));
  }
  const std::string new_ = Image::of(kInnerRow0, {kBlock, 10}).bytes();
};

TEST_F(ReaderOfDeadBytes, TakesOldTablesOfTheSamePlaceForDead) {
  const std::string old = Image::of(kInnerRow0, {kBlock, 100'000}).bytes();
  expectRead(new_ + old.substr(new_.size()), kBlock + 10);
  expectRead(new_ + old.substr(new_.size()) + old.substr(old.size() - 72), kBlock + 10);
}

TEST_F(ReaderOfDeadBytes, TakesShortStreamsAndMarksForData) {
  const std::string stream = support::zipped(support::caseBytes(0, 5000));
  const std::string mark = support::encoded(bInfo{-100, 0, 0x3FF000, 5}) + std::string(24, '\0');
  expectRead(new_ + std::string(50, '\0') + "picture" + stream + stream + mark + mark, kBlock + 10);
}

}  // namespace
