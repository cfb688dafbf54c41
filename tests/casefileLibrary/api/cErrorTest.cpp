#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "../support/cFiles.h"
#include "casefile/c.h"
#include "casefile/error.h"
#include "casefile/version.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/testFolder.h"

namespace {

using support::Held;
using support::Image;

// What a status is, whatever the call: told by a callback that raises it.
casefile::ErrorKind raisedKind;

int32_t raiseError(void*, const casefile_progress*) {
  throw casefile::Error(raisedKind, "was raised", {"FILE", "look", {}, 7, casefile::LogicalRange{8, 9}});
}
int32_t raiseNoMemory(void*, const casefile_progress*) { throw std::bad_alloc(); }

class CErrors : public testing::Test {
 protected:
  casefile_status read(casefile_progress_callback progress) {
    std::array<char, 10> room{};
    std::size_t done = 0;
    return casefile_reader_read_into(reader_.get(), room.data(), room.size(), 10, &done, progress, nullptr, &error_);
  }

  support::TestFolder folder_;
  const std::string bytes_ = Image::of(10, {1000}).bytes();
  Held<casefile_reader> reader_ = support::readerOver(bytes_);
  casefile_error error_{};
};

TEST_F(CErrors, EachKindHasItsStatus) {
  using Kind = casefile::ErrorKind;
  const std::vector<std::pair<Kind, casefile_status>> kinds = {
      {Kind::system, CASEFILE_SYSTEM},      {Kind::notADataFile, CASEFILE_NOT_A_DATA_FILE},
      {Kind::damaged, CASEFILE_DAMAGED},    {Kind::doesNotFit, CASEFILE_DOES_NOT_FIT},
      {Kind::busy, CASEFILE_BUSY},          {Kind::usage, CASEFILE_USAGE},
      {Kind::cancelled, CASEFILE_CANCELLED}};
  for (const auto& [kind, status] : kinds) {
    raisedKind = kind;
    EXPECT_EQ(read(raiseError), status);
    EXPECT_EQ(error_.status, status);
    EXPECT_STREQ(error_.message, "FILE: was raised");
    EXPECT_STREQ(error_.file, "FILE");
    EXPECT_STREQ(error_.operation, "look");
    EXPECT_EQ(error_.file_position, 7);
    EXPECT_EQ(error_.range_start, 8);
    EXPECT_EQ(error_.range_size, 9);
  }
}

TEST_F(CErrors, NoMemoryIsAStatus) {
  EXPECT_EQ(read(raiseNoMemory), CASEFILE_NO_MEMORY);
  EXPECT_STRNE(error_.message, "");
}

TEST_F(CErrors, AllBytesOfAnErrorAreSetWhateverTheyWere) {
  std::memset(&error_, 0xEE, sizeof error_);
  EXPECT_EQ(read(nullptr), CASEFILE_OK);
  EXPECT_EQ(error_.status, CASEFILE_OK);
  EXPECT_EQ(error_.system_code, 0);
  EXPECT_EQ(error_.file_position, -1);
  EXPECT_EQ(error_.range_start, -1);
  EXPECT_EQ(error_.range_size, 0);
  EXPECT_STREQ(error_.operation, "");
  EXPECT_STREQ(error_.file, "");
  EXPECT_STREQ(error_.message, "");
  EXPECT_THAT(error_.reserved, testing::Each(0));
}

TEST_F(CErrors, AMissingFileTellsNameOperationAndTheSystemsReason) {
  const std::string name = folder_.path("missing.case");
  casefile_reader* reader = nullptr;
  EXPECT_EQ(casefile_reader_open(name.c_str(), nullptr, &reader, &error_), CASEFILE_SYSTEM);
  EXPECT_NE(error_.system_code, 0);
  EXPECT_EQ(error_.file, name);
  EXPECT_STREQ(error_.operation, "open");
  EXPECT_THAT(error_.message, testing::StartsWith(name));
  casefile_source* source = nullptr;
  EXPECT_EQ(casefile_source_open(name.c_str(), &source, nullptr), CASEFILE_SYSTEM);
}

TEST_F(CErrors, ATextThatIsTooLongIsCutBetweenLetters) {
  // The most bytes of whole letters of three that fit behind a beginning.
  const auto cut = [](const std::string& text, std::size_t beginning, std::size_t room) {
    return text.substr(0, beginning + (room - 1 - beginning) / 3 * 3);
  };
  for (const std::size_t beginning : {0U, 1U, 2U}) {
    std::string name(beginning, 'a');
    while (name.size() < 3000) {
      name += "\xE2\x82\xAC";
    }
    casefile_source* source = nullptr;
    ASSERT_EQ(casefile_source_from_memory("", 0, name.c_str(), &source, &error_), CASEFILE_OK);
    const Held<casefile_source> held(source);
    casefile_reader* reader = nullptr;
    EXPECT_EQ(casefile_reader_open_source(source, nullptr, &reader, &error_), CASEFILE_NOT_A_DATA_FILE);
    EXPECT_EQ(error_.file, cut(name, beginning, sizeof error_.file));
    EXPECT_EQ(error_.message, cut(name, beginning, sizeof error_.message));
  }
}

TEST_F(CErrors, OfALetterWithoutEndNothingIsLeft) {
  const std::string name(3000, '\x80');  // goes on with a letter that never began
  casefile_source* source = nullptr;
  ASSERT_EQ(casefile_source_from_memory("", 0, name.c_str(), &source, &error_), CASEFILE_OK);
  const Held<casefile_source> held(source);
  casefile_reader* reader = nullptr;
  EXPECT_EQ(casefile_reader_open_source(source, nullptr, &reader, &error_), CASEFILE_NOT_A_DATA_FILE);
  EXPECT_STREQ(error_.file, "");
}

TEST_F(CErrors, ATextThatJustFitsIsWhole) {
  for (const std::size_t more : {0U, 1U}) {
    const std::string name(sizeof error_.file - 1 + more, 'n');
    casefile_source* source = nullptr;
    ASSERT_EQ(casefile_source_from_memory("", 0, name.c_str(), &source, &error_), CASEFILE_OK);
    const Held<casefile_source> held(source);
    casefile_reader* reader = nullptr;
    casefile_reader_open_source(source, nullptr, &reader, &error_);
    EXPECT_EQ(error_.file, name.substr(more));
  }
}

TEST_F(CErrors, OptionsThatWereNeverMadeReadyAreUsage) {
  casefile_reader_options options{};
  casefile_reader* reader = nullptr;
  const auto source = support::sourceOver(bytes_);
  for (const std::size_t size : {std::size_t{0}, sizeof(options) - 1, std::size_t{1} << 40}) {
    options.size = size;
    EXPECT_EQ(casefile_reader_open_source(source.get(), &options, &reader, &error_), CASEFILE_USAGE) << size;
  }
}

// What a program that is compiled with a later version's header gives.
struct LaterOptions {
  casefile_reader_options known;
  std::array<std::int64_t, 2> more;
};

TEST_F(CErrors, OptionsOfALaterVersionAreTakenUnlessTheyAskForSomething) {
  LaterOptions options;
  std::memset(static_cast<void*>(&options), 0xEE, sizeof options);
  casefile_reader_options_init(&options.known, sizeof options);
  EXPECT_EQ(options.known.size, sizeof options);
  EXPECT_THAT(options.more, testing::Each(0));
  casefile_reader* reader = nullptr;
  const auto source = support::sourceOver(bytes_);
  ASSERT_EQ(casefile_reader_open_source(source.get(), &options.known, &reader, &error_), CASEFILE_OK);
  casefile_reader_free(reader);
  options.more[1] = 1;
  EXPECT_EQ(casefile_reader_open_source(source.get(), &options.known, &reader, &error_), CASEFILE_USAGE);
  EXPECT_EQ(reader, nullptr);
}

TEST_F(CErrors, ResultsOfAnEarlierVersionAreFilledAsFarAsTheyReach) {
  casefile_reader_info info{};
  info.blocks = 77;
  ASSERT_EQ(casefile_reader_get_info(reader_.get(), &info, offsetof(casefile_reader_info, blocks), &error_),
            CASEFILE_OK);
  EXPECT_EQ(info.row0, 10);
  EXPECT_EQ(info.blocks, 77U);
}

TEST_F(CErrors, ASizeThatNoStructureHasIsNotFilled) {
  // Zeros were written that far.
  constexpr std::size_t kNonsense = static_cast<std::size_t>(-1);
  casefile_reader_info info{};
  info.blocks = 77;
  EXPECT_EQ(casefile_reader_get_info(reader_.get(), &info, kNonsense, &error_), CASEFILE_USAGE);
  EXPECT_EQ(info.blocks, 77U);
  casefile_reader_options options{};
  casefile_reader_options_init(&options, kNonsense);
  casefile_reader* reader = nullptr;
  const auto source = support::sourceOver(bytes_);
  EXPECT_EQ(casefile_reader_open_source(source.get(), &options, &reader, &error_), CASEFILE_USAGE);
}

TEST_F(CErrors, NumbersThatMeanNothingAreUsage) {
  const auto source = support::sourceOver(bytes_);
  casefile_reader_options reading;
  casefile_reader_options_init(&reading, sizeof reading);
  casefile_reader* reader = nullptr;
  for (const int order : {-1, 3}) {
    reading.byte_order = order;
    EXPECT_EQ(casefile_reader_open_source(source.get(), &reading, &reader, &error_), CASEFILE_USAGE);
  }
  casefile_writer_options writing;
  casefile_writer_options_init(&writing, sizeof writing);
  writing.encoder = CASEFILE_FAST + 1;
  casefile_writer* writer = nullptr;
  EXPECT_EQ(casefile_writer_create(folder_.path("new.case").c_str(), &writing, &writer, &error_), CASEFILE_USAGE);
  casefile_recover_options rescuing;
  casefile_recover_options_init(&rescuing, sizeof rescuing);
  rescuing.holes = 3;
  casefile_recovery* recovery = nullptr;
  EXPECT_EQ(casefile_recover_source(source.get(), folder_.path("new.case").c_str(), &rescuing, &recovery, &error_),
            CASEFILE_USAGE);
}

TEST_F(CErrors, ANullPointerIsUsageInEachFunction) {
  const auto source = support::sourceOver(bytes_);
  std::size_t done = 0;
  int64_t position = 0;
  casefile_block block{};
  casefile_range range{};
  casefile_error why{};
  const std::vector<casefile_status> statuses = {
      casefile_source_open(nullptr, nullptr, &error_),
      casefile_source_from_descriptor(0, nullptr, nullptr, &error_),
      casefile_source_from_memory(nullptr, 0, nullptr, nullptr, &error_),
      casefile_source_from_callbacks(nullptr, "name", nullptr, &error_),
      casefile_reader_open("name", nullptr, nullptr, &error_),
      casefile_reader_open_source(source.get(), nullptr, nullptr, &error_),
      casefile_reader_get_info(nullptr, nullptr, 0, &error_),
      casefile_reader_get_info(reader_.get(), nullptr, 0, &error_),
      casefile_reader_get_block(nullptr, 0, &block, &error_),
      casefile_reader_get_block(reader_.get(), 0, nullptr, &error_),
      casefile_reader_get_dictionary(nullptr, nullptr, 0, &done, &error_),
      casefile_reader_get_dictionary(reader_.get(), nullptr, 1, &done, &error_),
      casefile_reader_read_at(nullptr, nullptr, 0, 0, &done, &error_),
      casefile_reader_read_at(reader_.get(), nullptr, 1, 0, &done, &error_),
      casefile_reader_read_at(reader_.get(), nullptr, 0, 0, nullptr, &error_),
      casefile_reader_read_into(nullptr, nullptr, 0, 0, &done, nullptr, nullptr, &error_),
      casefile_reader_read_into(reader_.get(), nullptr, 1, 0, &done, nullptr, nullptr, &error_),
      casefile_reader_read(reader_.get(), 0, 1, nullptr, nullptr, nullptr, &error_),
      casefile_reader_read_unordered(nullptr, 0, 1, nullptr, nullptr, nullptr, &error_),
      casefile_reader_get_partitions(reader_.get(), 1, 1, nullptr, &done, &error_),
      casefile_reader_get_partitions(nullptr, 1, 1, &range, &done, &error_),
      casefile_writer_create(nullptr, nullptr, nullptr, &error_),
      casefile_writer_write_dictionary(nullptr, nullptr, 0, &error_),
      casefile_writer_write(nullptr, nullptr, 0, &error_),
      casefile_writer_finish(nullptr, &error_),
      casefile_writer_cancel(nullptr, &error_),
      casefile_writer_get_position(nullptr, &position, &error_),
      casefile_writer_get_left_behind(nullptr, &why, &error_),
      casefile_appender_open(nullptr, nullptr, nullptr, &error_),
      casefile_appender_get_info(nullptr, nullptr, 0, &error_),
      casefile_appender_read_at(nullptr, nullptr, 0, 0, &done, &error_),
      casefile_appender_write(nullptr, nullptr, 0, &error_),
      casefile_appender_finish(nullptr, &error_),
      casefile_appender_cancel(nullptr, &error_),
      casefile_appender_get_left_behind(nullptr, &why, &error_),
      casefile_inspect(nullptr, nullptr, nullptr, &error_),
      casefile_inspect_source(nullptr, nullptr, nullptr, &error_),
      casefile_inspection_get_info(nullptr, nullptr, 0, &error_),
      casefile_inspection_get_block(nullptr, 0, &block, &error_),
      casefile_inspection_get_fault(nullptr, 0, nullptr, 0, &error_),
      casefile_verify(nullptr, nullptr, nullptr, &error_),
      casefile_verify_source(nullptr, nullptr, nullptr, &error_),
      casefile_verification_get_info(nullptr, nullptr, 0, &error_),
      casefile_verification_get_fault(nullptr, 0, nullptr, 0, &error_),
      casefile_verification_get_lost(nullptr, 0, &range, &error_),
      casefile_recover(nullptr, nullptr, nullptr, nullptr, &error_),
      casefile_recover_source(nullptr, nullptr, nullptr, nullptr, &error_),
      casefile_recovery_get_info(nullptr, nullptr, 0, &error_),
      casefile_recovery_get_loss(nullptr, 0, nullptr, 0, &error_)};
  EXPECT_THAT(statuses, testing::Each(CASEFILE_USAGE));
  EXPECT_EQ(casefile_reader_read(nullptr, 0, 1, nullptr, nullptr, nullptr, nullptr), CASEFILE_USAGE);
}

TEST_F(CErrors, FreeingAndInitialisingNothingDoesNothing) {
  casefile_source_free(nullptr);
  casefile_reader_free(nullptr);
  casefile_writer_free(nullptr);
  casefile_appender_free(nullptr);
  casefile_inspection_free(nullptr);
  casefile_verification_free(nullptr);
  casefile_recovery_free(nullptr);
  casefile_source_callbacks_init(nullptr, 100);
  casefile_reader_options_init(nullptr, 100);
  casefile_writer_options_init(nullptr, 100);
  casefile_appender_options_init(nullptr, 100);
  casefile_check_options_init(nullptr, 100);
  casefile_recover_options_init(nullptr, 100);
}

TEST(CLibrary, TellsVersionAndCodecs) {
  EXPECT_STREQ(casefile_version(), CASEFILE_VERSION_STRING);
  std::vector<std::string> names;
  for (std::size_t i = 0; casefile_codec(i) != nullptr; ++i) {
    names.emplace_back(casefile_codec(i));
  }
  EXPECT_EQ(names, casefile::codecs());
}

TEST(CLibrary, EachStatusHasANameOfItsOwn) {
  std::vector<std::string> names;
  for (casefile_status status = CASEFILE_OK; status <= CASEFILE_OTHER; ++status) {
    names.emplace_back(casefile_status_name(status));
    EXPECT_THAT(names, testing::Contains(names.back()).Times(1));
    EXPECT_NE(names.back(), "unknown");
  }
  EXPECT_STREQ(casefile_status_name(-1), "unknown");
}

}  // namespace
