#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "../support/cFiles.h"
#include "casefile/c.h"
#include "support/compressedBytes.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using support::Held;
using support::kBlock;
using testing::ElementsAre;
using testing::IsEmpty;

class CLines : public testing::Test {
 protected:
  Held<casefile_reader> readerOf(const std::string& text) {
    casefile_writer* writer = nullptr;
    casefile_writer_create(name_.c_str(), nullptr, &writer, &error_);
    const Held<casefile_writer> held(writer);
    casefile_writer_write_dictionary(writer, "0123456789", 10, &error_);
    casefile_writer_write(writer, text.data(), text.size(), &error_);
    EXPECT_EQ(casefile_writer_finish(writer, &error_), CASEFILE_OK) << error_.message;
    casefile_reader* reader = nullptr;
    EXPECT_EQ(casefile_reader_open(name_.c_str(), nullptr, &reader, &error_), CASEFILE_OK) << error_.message;
    return Held<casefile_reader>(reader);
  }

  std::vector<std::string> linesOf(const std::string& text, int64_t start = 10, int64_t size = 1 << 30) {
    const auto reader = readerOf(text);
    casefile_lines* lines = nullptr;
    EXPECT_EQ(casefile_lines_open(reader.get(), start, size, &lines, &error_), CASEFILE_OK) << error_.message;
    const Held<casefile_lines> held(lines);
    std::vector<std::string> found;
    const char* line = nullptr;
    std::size_t length = 0;
    while (casefile_lines_next(lines, &line, &length, &error_) == CASEFILE_OK && line != nullptr) {
      EXPECT_EQ(line[length], '\0');
      found.emplace_back(line, length);
    }
    EXPECT_EQ(error_.status, CASEFILE_OK) << error_.message;
    EXPECT_EQ(casefile_lines_next(lines, &line, &length, &error_), CASEFILE_OK);
    EXPECT_EQ(line, nullptr) << "the end stays the end";
    return found;
  }

  support::Deadline deadline_{"CLines"};
  support::TestFolder folder_;
  const std::string name_ = folder_.path("data.case");
  casefile_error error_{};
};

TEST_F(CLines, GivesOneAfterTheOther) {
  EXPECT_THAT(linesOf("one\n\ntwo\r\nthree\n"), ElementsAre("one", "", "two\r", "three"));
  EXPECT_THAT(linesOf("the last one\nhas no end"), ElementsAre("the last one", "has no end"));
  EXPECT_THAT(linesOf(""), IsEmpty());
  EXPECT_THAT(linesOf(std::string("a\0b\n", 4)), ElementsAre(std::string("a\0b", 3)));
}

TEST_F(CLines, GivesThoseOfARange) {
  EXPECT_THAT(linesOf("one\ntwo\n", 0, 14), ElementsAre("0123456789one"));
  EXPECT_THAT(linesOf("one\ntwo\n", 12, 3), ElementsAre("e", "t"));
  EXPECT_THAT(linesOf("one\n", 1000, 10), IsEmpty());
}

TEST_F(CLines, ALineMayLieInSeveralBlocks) {
  const std::string length(kBlock + 10, 'a');
  EXPECT_THAT(linesOf("short\n" + length + "\n" + length + "\n"), ElementsAre("short", length, length));
}

TEST_F(CLines, DamageIsToldWhereItIsMetAndAgain) {
  std::string text(kBlock, 'a');
  text.back() = '\n';
  readerOf(text.append(1000, 'b'));
  std::string bytes = folder_.readWhole("data.case");
  const auto sound = support::readerOver(bytes);
  casefile_block block{};
  ASSERT_EQ(casefile_reader_get_block(sound.get(), 1, &block, &error_), CASEFILE_OK);
  bytes.replace(static_cast<std::size_t>(block.file_position) + 2, 5, "\xFF\xFF\xFF\xFF\xFF");
  const auto reader = support::readerOver(bytes);
  casefile_lines* lines = nullptr;
  ASSERT_EQ(casefile_lines_open(reader.get(), 10, 1 << 30, &lines, &error_), CASEFILE_OK);
  const Held<casefile_lines> held(lines);
  const char* line = nullptr;
  std::size_t length = 0;
  ASSERT_EQ(casefile_lines_next(lines, &line, &length, &error_), CASEFILE_OK);
  EXPECT_EQ(length, kBlock - 1);
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(casefile_lines_next(lines, &line, &length, &error_), CASEFILE_DAMAGED);
    EXPECT_EQ(error_.range_start, 10 + static_cast<int64_t>(kBlock));
  }
}

TEST_F(CLines, WrongUseIsAStatus) {
  const auto reader = readerOf("one\n");
  casefile_lines* lines = nullptr;
  EXPECT_EQ(casefile_lines_open(nullptr, 0, 1, &lines, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_lines_open(reader.get(), -1, 1, &lines, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_lines_open(reader.get(), 0, 1, nullptr, &error_), CASEFILE_USAGE);
  ASSERT_EQ(casefile_lines_open(reader.get(), 10, 10, &lines, &error_), CASEFILE_OK);
  const Held<casefile_lines> held(lines);
  const char* line = nullptr;
  std::size_t length = 0;
  EXPECT_EQ(casefile_lines_next(nullptr, &line, &length, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_lines_next(lines, nullptr, &length, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_lines_next(lines, &line, nullptr, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_lines_next(lines, &line, &length, &error_), CASEFILE_OK);
  EXPECT_STREQ(line, "one");
  casefile_lines_free(nullptr);
}

}  // namespace
