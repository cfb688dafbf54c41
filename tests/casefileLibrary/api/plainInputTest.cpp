// Plain bytes that are read once, and files that are packed of them or appended to.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "../support/sources.h"
#include "casefile/appender.h"
#include "casefile/error.h"
#include "casefile/inspect.h"
#include "casefile/pack.h"
#include "casefile/plainInput.h"
#include "casefile/reader.h"
#include "support/compressedBytes.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using casefile::Appender;
using casefile::ErrorKind;
using casefile::Next;
using casefile::pack;
using casefile::Packed;
using casefile::PackOptions;
using casefile::Phase;
using casefile::PlainInput;
using casefile::Progress;
using casefile::Reader;
using support::errorOf;
using testing::HasSubstr;

class PlainInputTest : public testing::Test {
 protected:
  PlainInput input(const std::string& bytes) const { return PlainInput::open(folder_.writePlain("input", bytes)); }

  std::string unpacked(const std::string& name) const {
    const Reader reader = Reader::open(folder_.path(name));
    std::string bytes(static_cast<std::size_t>(reader.size()), '?');
    bytes.resize(reader.readAt(support::writable(bytes), 0));
    return bytes;
  }

  std::size_t filesThere() const {
    const std::filesystem::directory_iterator all(folder_.folder());
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }

  support::Deadline deadline_{"PlainInputTest"};
  support::TestFolder folder_;
  const std::string output_ = folder_.path("output");
};

TEST_F(PlainInputTest, ShowsBytesBeforeTheyAreTaken) {
  PlainInput plain = input("abcdef");
  EXPECT_EQ(support::text(plain.peek()), "abcdef");
  plain.take(2);
  EXPECT_EQ(support::text(plain.peek()), "cdef");
  EXPECT_EQ(errorOf([&] { plain.take(5); }).kind(), ErrorKind::usage);
  std::string bytes(3, '?');
  EXPECT_EQ(plain.read(support::writable(bytes)), 3U);
  EXPECT_EQ(bytes, "cde");
  EXPECT_EQ(plain.read(support::writable(bytes)), 1U);
  EXPECT_EQ(plain.read(support::writable(bytes)), 0U);
  EXPECT_TRUE(plain.peek().empty());
}

TEST_F(PlainInputTest, TellsItsSizeAndWhichFileItIs) {
  const PlainInput plain = input("abc");
  EXPECT_EQ(plain.size(), 3);
  EXPECT_TRUE(plain.isFile(folder_.path("input")));
  EXPECT_FALSE(plain.isFile(folder_.writePlain("other", "abc")));
  EXPECT_FALSE(plain.isFile(folder_.path("none")));
  const PlainInput same = PlainInput::fromDescriptor(plain.descriptor(), "the same");
  EXPECT_TRUE(same.isFile(folder_.path("input")));
  EXPECT_EQ(same.name(), "the same");
}

TEST_F(PlainInputTest, IsGivenUpWhenTheProgramSaysSo) {
  PlainInput plain = input("abc");
  plain.giveUpWhen([]() noexcept { return true; });
  EXPECT_EQ(errorOf([&] { plain.peek(); }).kind(), ErrorKind::cancelled);
  plain.giveUpWhen(nullptr);
  EXPECT_EQ(support::text(plain.peek()), "abc");
}

TEST_F(PlainInputTest, IsNotOpenedWhenTheProgramSaysSo) {
  const std::string name = folder_.writePlain("input", "abc");
  EXPECT_EQ(errorOf([&] { PlainInput::open(name, []() noexcept { return true; }); }).kind(), ErrorKind::cancelled);
  PlainInput plain = PlainInput::open(name, []() noexcept { return false; });
  EXPECT_EQ(support::text(plain.peek()), "abc");
}

TEST_F(PlainInputTest, ThatCannotBeReadOrWasMovedFromIsAnError) {
  const std::string twoNames("a\0b", 3);
  EXPECT_EQ(errorOf([&] { PlainInput::open(twoNames); }).kind(), ErrorKind::usage);
  EXPECT_EQ(errorOf([&] { PlainInput::open(folder_.path("none")); }).operation(), "open");
  EXPECT_EQ(errorOf([&] { PlainInput::open(""); }).kind(), ErrorKind::usage);
  EXPECT_EQ(errorOf([&] { PlainInput::fromDescriptor(-1, "closed").peek(); }).operation(), "read");
  PlainInput plain = input("abc");
  const PlainInput other = std::move(plain);
  EXPECT_EQ(errorOf([&] { plain.peek(); }).kind(), ErrorKind::usage);  // NOLINT: that is the question
}

TEST_F(PlainInputTest, IsPackedWithItsFirstLinesAsDictionaryPart) {
  for (const auto& [lines, row0] : {std::pair(1, 5), std::pair(2, 9), std::pair(7, 12)}) {
    PackOptions options;
    options.headerLines = lines;
    PlainInput plain = input("head\nrow\nrow");
    const Packed made = pack(plain, output_, options);
    EXPECT_EQ(made.row0, row0);
    EXPECT_EQ(made.caseBytes, 12 - row0);
    EXPECT_EQ(Reader::open(output_).row0(), row0);
    EXPECT_EQ(unpacked("output"), "head\nrow\nrow");
  }
}

TEST_F(PlainInputTest, IsPackedWithItsFirstBytesOrAnotherInputAsDictionaryPart) {
  PackOptions options;
  options.row0 = 3;
  PlainInput plain = input("abcdef");
  EXPECT_EQ(pack(plain, output_, options).row0, 3);
  EXPECT_EQ(unpacked("output"), "abcdef");
  PlainInput dictionary = PlainInput::open(folder_.writePlain("dictionary", "0123"));
  options.dictionary = &dictionary;
  plain = input("abcdef");
  EXPECT_EQ(pack(plain, output_, options).row0, 4);
  EXPECT_EQ(unpacked("output"), "0123abcdef");
}

TEST_F(PlainInputTest, ThatIsTooShortForItsDictionaryPartLeavesNothing) {
  PackOptions options;
  options.row0 = 7;
  PlainInput plain = input("abcdef");
  const auto error = errorOf([&] { pack(plain, output_, options); });
  EXPECT_EQ(error.kind(), ErrorKind::damaged);
  EXPECT_THAT(error.what(), HasSubstr("input: ends after 6 bytes, before the row-0 position 7"));
  options.row0 = 0;
  plain = input("abcdef");
  EXPECT_EQ(errorOf([&] { pack(plain, output_, options); }).kind(), ErrorKind::usage);
  options.row0 = -1;
  EXPECT_EQ(errorOf([&] { pack(plain, output_, options); }).kind(), ErrorKind::usage);
  options.row0.reset();
  options.headerLines = -1;
  EXPECT_EQ(errorOf([&] { pack(plain, output_, options); }).kind(), ErrorKind::usage);
  EXPECT_EQ(filesThere(), 1U);
  plain = input("");
  EXPECT_EQ(pack(plain, output_).row0, 0);
}

TEST_F(PlainInputTest, PackingTellsOfHowManyBytesItHasTakenOver) {
  const std::string bytes = "head\n" + support::caseBytes(5, support::kBlock + 1000);
  std::vector<std::pair<Phase, int64>> told;
  PackOptions options;
  options.progress = [&](const Progress& now) {
    EXPECT_EQ(now.bytesInAll, std::ssize(bytes));
    told.emplace_back(now.phase, now.bytesDone);
    return Next::proceed;
  };
  PlainInput plain = input(bytes);
  pack(plain, output_, options);
  ASSERT_GE(told.size(), 4U);
  EXPECT_EQ(told.front(), std::pair(Phase::writing, int64{5}));
  EXPECT_EQ(told[told.size() - 2], std::pair(Phase::writing, static_cast<int64>(bytes.size())));
  EXPECT_EQ(told.back(), std::pair(Phase::finishing, static_cast<int64>(bytes.size())));
}

TEST_F(PlainInputTest, PackingStopsWhenTheProgramSaysSoAndLeavesWhatWasThere) {
  folder_.writePlain("output", "old");
  for (const int stopAt : {1, 2, 3}) {
    PackOptions options;
    options.progress = [calls = 0, stopAt](const Progress&) mutable {
      return ++calls < stopAt ? Next::proceed : Next::stop;
    };
    PlainInput plain = input("head\nrow\n");
    EXPECT_EQ(errorOf([&] { pack(plain, output_, options); }).kind(), ErrorKind::cancelled);
    EXPECT_EQ(folder_.readWhole("output"), "old");
    EXPECT_EQ(filesThere(), 2U);
  }
}

class HeaderLinesTest : public PlainInputTest {
 protected:
  Appender appender(const std::string& bytes) {
    PlainInput plain = PlainInput::open(folder_.writePlain("first", bytes));
    pack(plain, output_);
    return Appender::open(output_);
  }
};

TEST_F(HeaderLinesTest, ThatAreTheDictionaryPartAreLeftOut) {
  Appender file = appender("head\nrow\n");
  PlainInput plain = input("head\nmore\n");
  skipHeaderLines(plain, 1, file);
  writeAll(plain, file);
  file.finish();
  EXPECT_EQ(unpacked("output"), "head\nrow\nmore\n");
}

TEST_F(HeaderLinesTest, ThatAreNotTheDictionaryPartAreAnErrorThatSaysWhereTheyDiffer) {
  Appender file = appender("head\nrow\n");
  for (const auto& [bytes, place] : {std::pair("heat\n", 3), std::pair("head", 4), std::pair("header\n", 4)}) {
    PlainInput plain = input(bytes);
    const auto error = errorOf([&] { skipHeaderLines(plain, 1, file); });
    EXPECT_EQ(error.kind(), ErrorKind::usage);
    EXPECT_EQ(error.file(), plain.name());
    EXPECT_THAT(error.what(), HasSubstr(file.name() + ": they differ at byte " + std::to_string(place)));
  }
}

TEST_F(HeaderLinesTest, ALastLineWithoutEndIsNoticedInTextAlone) {
  EXPECT_FALSE([&] {
    Appender file = appender("head\nrow\n");
    return endsInsideLine(file);
  }());
  EXPECT_FALSE([&] {
    Appender file = appender("head\n");
    return endsInsideLine(file);
  }());
  for (const char* const noText : {"head\nro\x01w", "head\nro\x7Fw"}) {
    Appender file = appender(noText);
    EXPECT_FALSE(endsInsideLine(file));
  }
  Appender file = appender("head\nrow");
  EXPECT_TRUE(endsInsideLine(file));
  EXPECT_EQ(file.blockCount(), 1U);
  EXPECT_FALSE(file.swapped());
  file.write(std::as_bytes(std::span("s\n", 2)));
  EXPECT_EQ(errorOf([&] { endsInsideLine(file); }).kind(), ErrorKind::usage);
}

TEST(ForeignFormat, IsKnownByTheFirstBytes) {
  const auto of = [](const std::string& bytes) { return casefile::foreignFormat(std::as_bytes(std::span(bytes))); };
  EXPECT_STREQ(of("\x1f\x8b\x08rest"), "a gzip file");
  EXPECT_STREQ(of("BZh9\x31\x41\x59\x26\x53\x59"), "a bzip2 file");
  EXPECT_EQ(of("\x1f\x8b"), nullptr);
  EXPECT_EQ(of(""), nullptr);
}

TEST(Printable, HasNeitherControlCharactersNorWhatIsNoLetter) {
  EXPECT_EQ(casefile::printable("a\nb\x7f\x1b[2J"), "a\\x0ab\\x7f\\x1b[2J");
  EXPECT_EQ(casefile::printable("\xc3\xa4\xc2\x9b\xc3"), "\xc3\xa4\\xc2\\x9b\\xc3");
}

}  // namespace
