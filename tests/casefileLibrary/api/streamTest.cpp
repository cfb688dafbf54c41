#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <ios>
#include <memory>
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <utility>

#include "../support/sources.h"
#include "casefile/error.h"
#include "casefile/reader.h"
#include "casefile/stream.h"
#include "casefile/writer.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/testFolder.h"

namespace {

using casefile::ErrorKind;
using casefile::InputStream;
using casefile::LogicalRange;
using casefile::OutputStream;
using casefile::Reader;
using casefile::ReaderOptions;
using casefile::Writer;
using support::errorOf;
using support::kBlock;
using support::kBlockLength;
using support::ScriptedSource;

constexpr int64 kRow0 = 100'000;  // more than a view of the dictionary part

Reader open(const std::string& bytes, std::size_t cacheBytes = std::size_t{64} << 20) {
  ReaderOptions options;
  options.row0 = kRow0;
  options.threads = 1;
  options.cacheBytes = cacheBytes;
  return Reader::open(std::make_shared<ScriptedSource>(bytes), options);
}

std::string plainFile(std::size_t caseBytes) {
  return support::dictionaryBytes(kRow0) + support::caseBytes(kRow0, caseBytes);
}

std::string rest(std::istream& stream) {
  std::ostringstream all;
  all << stream.rdbuf();
  return all.str();
}

TEST(InputStream, GivesTheCaseDataFromPositionNought) {
  const Reader reader = open(support::imageBytes(kRow0, 2 * kBlock + 17));
  InputStream stream(reader);
  EXPECT_EQ(stream.tellg(), 0);
  EXPECT_TRUE(support::sameBytes(rest(stream), support::caseBytes(kRow0, 2 * kBlock + 17)));
}

TEST(InputStream, GivesARangeWithDictionaryPartAndNoMore) {
  const Reader reader = open(support::imageBytes(kRow0, kBlock + 17));
  const std::string plain = plainFile(kBlock + 17);
  for (const LogicalRange range : {LogicalRange{0, INT64_MAX}, LogicalRange{5, 70'000}, LogicalRange{kRow0 - 1, 2},
                                   LogicalRange{kRow0 + kBlockLength - 3, 7}, LogicalRange{kRow0, 0}}) {
    InputStream stream(reader, range);
    const auto start = static_cast<std::size_t>(range.start);
    EXPECT_TRUE(support::sameBytes(rest(stream), plain.substr(start, static_cast<std::size_t>(range.size))));
  }
}

TEST(InputStream, BehindTheEndThereIsNothing) {
  const Reader reader = open(support::imageBytes(kRow0, 10));
  InputStream stream(reader, {INT64_MAX, INT64_MAX});
  EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
  EXPECT_FALSE(stream.bad());
}

TEST(InputStream, ReadsTheLinesOfTheBlocksAsThoseOfTheText) {
  std::ostringstream text;
  for (int line = 0; text.tellp() < kBlockLength + 1000; ++line) {
    text << "line " << line << std::string(static_cast<std::size_t>(line % 90), '.') << '\n';
  }
  text << "no end";
  support::TestFolder folder;
  Writer writer = Writer::create(folder.path("lines"));
  writer.writeDictionary(std::as_bytes(std::span("dictionary")));
  OutputStream(writer) << text.str();
  writer.finish();
  const Reader reader = Reader::open(folder.path("lines"));
  InputStream stream(reader);
  std::istringstream expected(text.str());
  std::string line;
  for (std::string other; std::getline(expected, other);) {
    ASSERT_TRUE(std::getline(stream, line));
    ASSERT_EQ(line, other);
  }
  EXPECT_FALSE(std::getline(stream, line));
  EXPECT_TRUE(stream.eof());
}

TEST(InputStream, MovesThroughTheRangeAsAStringStreamDoes) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::minstd_rand random(seed);
  const Reader reader = open(support::imageBytes(kRow0, 2 * kBlock + 17));
  const int64 first = kRow0 - 90'000;
  const std::string plain = plainFile(2 * kBlock + 17).substr(static_cast<std::size_t>(first), 2 * kBlock);
  InputStream stream(reader, {first, static_cast<int64>(plain.size())});
  std::istringstream model(plain);
  for (int step = 0; step < 400; ++step) {
    const auto target = static_cast<std::streamoff>(random() % plain.size());
    std::string got(random() % 3000, '\0');
    std::string expected = got;
    switch (random() % 4) {
      case 0:
        stream.seekg(target);
        model.seekg(target);
        break;
      case 1:
        stream.seekg(-target, std::ios::end);
        model.seekg(-target, std::ios::end);
        break;
      case 2:
        stream.seekg(100, std::ios::cur);
        model.seekg(100, std::ios::cur);
        break;
      default:
        break;
    }
    stream.read(got.data(), static_cast<std::streamsize>(got.size()));
    model.read(expected.data(), static_cast<std::streamsize>(expected.size()));
    ASSERT_TRUE(support::sameBytes(got, expected));
    ASSERT_EQ(stream.gcount(), model.gcount());
    ASSERT_EQ(stream.rdstate(), model.rdstate());
    ASSERT_EQ(stream.tellg(), model.tellg());
    stream.clear();
    model.clear();
  }
}

TEST(InputStream, SeeksNothingOutsideItsRange) {
  const Reader reader = open(support::imageBytes(kRow0, 100));
  for (const std::streamoff offset : {std::streamoff{-1}, std::streamoff{51}, std::streamoff{INT64_MAX}}) {
    InputStream stream(reader, {kRow0, 50});
    stream.seekg(offset);
    EXPECT_TRUE(stream.fail()) << offset;
  }
}

TEST(InputStream, TakesBackWhatWasReadInTheBlock) {
  const Reader reader = open(support::imageBytes(kRow0, 100));
  InputStream stream(reader);
  const int letter = stream.get();
  EXPECT_TRUE(stream.unget());
  EXPECT_EQ(stream.get(), letter);
  EXPECT_FALSE(stream.putback(static_cast<char>(letter + 1)));  // the block is not written to
}

TEST(InputStream, TellsADamagedBlockAndReadsBehindIt) {
  support::Image image = support::Image::of(kRow0, {kBlock, kBlock, 100});
  image.blocks[1].replace(50, 50, 50, '?');
  const Reader reader = open(image.bytes());
  InputStream stream(reader);
  std::string bytes(2 * kBlock, '\0');
  stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  EXPECT_TRUE(stream.bad());
  const auto error = errorOf([&] { stream.raiseError(); });
  EXPECT_EQ(error.kind(), ErrorKind::damaged);
  EXPECT_EQ(error.range(), (LogicalRange{kRow0 + kBlockLength, kBlockLength}));
  stream.clear();
  stream.seekg(2 * kBlockLength);
  EXPECT_EQ(rest(stream), support::caseBytes(kRow0 + 2 * kBlockLength, 100));
}

TEST(InputStream, LetsTheErrorThroughWhenAskedTo) {
  support::Image image = support::Image::of(kRow0, {kBlock});
  image.blocks[0].replace(50, 50, 50, '?');
  const Reader reader = open(image.bytes());
  InputStream stream(reader);
  stream.exceptions(std::ios::badbit);
  std::string line;
  EXPECT_EQ(errorOf([&] { std::getline(stream, line); }).kind(), ErrorKind::damaged);
}

TEST(InputStream, DecodesEachBlockOnceWithoutACacheToo) {
  const auto source = std::make_shared<ScriptedSource>(support::imageBytes(kRow0, 3 * kBlock));
  ReaderOptions options;
  options.row0 = kRow0;
  options.cacheBytes = 0;
  const Reader reader = Reader::open(source, options);
  InputStream stream(reader);
  const std::size_t before = source->reads;
  for (int64 position = 0; position < 3 * kBlockLength; position += 1000) {
    stream.seekg(position);
    ASSERT_EQ(stream.get(), support::caseBytes(kRow0 + position, 1)[0]);
  }
  EXPECT_EQ(source->reads - before, 3U);
}

TEST(InputStream, MovesWithItsPlaceAndLeavesABadOneBehind) {
  const Reader reader = open(support::imageBytes(kRow0, 1000));
  InputStream first(reader);
  first.ignore(600);
  InputStream second(std::move(first));
  EXPECT_EQ(second.tellg(), 600);
  EXPECT_EQ(rest(second), support::caseBytes(kRow0 + 600, 400));
  EXPECT_EQ(first.get(), std::char_traits<char>::eof());  // NOLINT: what a moved-from stream says
  EXPECT_TRUE(first.bad());
}

TEST(InputStream, AViewOutlivesItsReader) {
  casefile::View view;
  {
    const Reader reader = open(support::imageBytes(kRow0, 1000), 0);
    view = reader.view(kRow0 + 5);
    EXPECT_EQ(view.range, (LogicalRange{kRow0, 1000}));
    EXPECT_TRUE(reader.view(kRow0 + 1000).bytes.empty());
    EXPECT_EQ(errorOf([&] { reader.view(-1); }).kind(), ErrorKind::usage);
    EXPECT_EQ(errorOf([&] { InputStream(reader, {-1, 5}); }).kind(), ErrorKind::usage);
  }
  EXPECT_EQ(support::text(view.bytes), support::caseBytes(kRow0, 1000));
}

class OutputStreamTest : public testing::Test {
 protected:
  Writer begin(bool withDictionary = true) {
    Writer writer = Writer::create(folder_.path("file"));
    if (withDictionary) {
      writer.writeDictionary(std::as_bytes(std::span("dictionary", 10)));
    }
    return writer;
  }

  std::string written() {
    const Reader reader = Reader::open(folder_.path("file"));
    InputStream stream(reader);
    return rest(stream);
  }

  support::TestFolder folder_;
};

TEST_F(OutputStreamTest, WritesPiecesOfAnySizeInOrder) {
  Writer writer = begin();
  OutputStream stream(writer);
  std::ostringstream model;
  for (const std::size_t size : {1U, 65'535U, 65'536U, 65'537U, 3U, 200'000U, 0U, 5'000'000U}) {
    const std::string piece = support::caseBytes(model.tellp(), size);
    stream << piece << '|' << std::setw(5) << size << std::flush;
    model << piece << '|' << std::setw(5) << size;
    EXPECT_EQ(stream.tellp(), model.tellp());
  }
  stream << "end";
  stream.finish();
  EXPECT_TRUE(support::sameBytes(written(), model.str() + "end"));
}

TEST_F(OutputStreamTest, HandsTheRestOverWhenItEnds) {
  Writer writer = begin();
  OutputStream(writer) << "some ";
  OutputStream(writer) << "more";
  writer.finish();
  EXPECT_EQ(written(), "some more");
}

TEST_F(OutputStreamTest, CanOnlySeekWhereItIs) {
  Writer writer = begin();
  OutputStream stream(writer);
  stream << "12345";
  EXPECT_TRUE(stream.seekp(5));
  EXPECT_TRUE(stream.seekp(0, std::ios::end));
  EXPECT_FALSE(stream.seekp(4));
  stream.clear();
  EXPECT_FALSE(stream.seekp(1, std::ios::cur));
}

TEST_F(OutputStreamTest, IsNotMadeForAWriterThatCannotTakeCaseData) {
  Writer writer = begin(false);
  EXPECT_EQ(errorOf([&] { OutputStream stream(writer); }).kind(), ErrorKind::usage);
  writer.cancel();
  EXPECT_EQ(errorOf([&] { OutputStream stream(writer); }).kind(), ErrorKind::usage);
}

TEST_F(OutputStreamTest, TellsWhatTheWriterRaised) {
  Writer writer = begin();
  OutputStream stream(writer);
  const std::string random = support::randomBytes(kBlock, 1);
  for (int i = 0; i < 100 && stream; ++i) {
    stream << random;  // does not fit
  }
  EXPECT_TRUE(stream.bad());
  EXPECT_EQ(errorOf([&] { stream.raiseError(); }).kind(), ErrorKind::doesNotFit);
  EXPECT_EQ(errorOf([&] { stream.finish(); }).kind(), ErrorKind::doesNotFit);
}

TEST_F(OutputStreamTest, WhatItsDestructorCouldNotWriteTheWriterTells) {
  Writer writer = begin();
  {
    OutputStream stream(writer);
    stream << support::randomBytes(kBlock - 1000, 1);
    stream << support::randomBytes(2000, 2);
  }
  EXPECT_EQ(errorOf([&] { writer.finish(); }).kind(), ErrorKind::doesNotFit);
}

TEST_F(OutputStreamTest, TakesNothingOnceItIsFinished) {
  for (const std::string& more : {std::string("m"), std::string("more"), std::string(70'000, 'm')}) {
    Writer writer = begin();
    OutputStream stream(writer);
    stream << "all";
    stream.finish();
    stream << more;
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(errorOf([&] { stream.raiseError(); }).kind(), ErrorKind::usage);
    stream.clear();
    stream.put('m');
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(written(), "all");
  }
}

TEST_F(OutputStreamTest, MovesWithWhatItHolds) {
  Writer writer = begin();
  OutputStream first(writer);
  first << "one ";
  OutputStream second(std::move(first));
  second << "two";
  EXPECT_FALSE(first << "three");  // NOLINT: what a moved-from stream says
  second.finish();
  EXPECT_EQ(written(), "one two");
}

}  // namespace
