#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>

#include "../support/cFiles.h"
#include "casefile/c.h"
#include "support/compressedBytes.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using support::Held;

int32_t stop(void*, const casefile_progress*) { return 1; }

class CWriter : public testing::Test {
 protected:
  Held<casefile_writer> create(const casefile_writer_options* options = nullptr) {
    casefile_writer* writer = nullptr;
    casefile_writer_create(name_.c_str(), options, &writer, &error_);
    return Held<casefile_writer>(writer);
  }

  Held<casefile_appender> append() {
    casefile_appender* appender = nullptr;
    casefile_appender_open(name_.c_str(), nullptr, &appender, &error_);
    return Held<casefile_appender>(appender);
  }

  void writeWhole(const std::string& text) {
    const auto writer = create();
    ASSERT_EQ(casefile_writer_write_dictionary(writer.get(), "0123456789", 10, &error_), CASEFILE_OK);
    ASSERT_EQ(casefile_writer_write(writer.get(), text.data(), text.size(), &error_), CASEFILE_OK);
    ASSERT_EQ(casefile_writer_finish(writer.get(), &error_), CASEFILE_OK) << error_.message;
  }

  // What a reader gets of the whole file, dictionary part included.
  std::string contents() {
    casefile_reader* reader = nullptr;
    casefile_reader_open(name_.c_str(), nullptr, &reader, &error_);
    const Held<casefile_reader> held(reader);
    std::string room(1000, '?');
    std::size_t done = 0;
    casefile_reader_read_at(reader, room.data(), room.size(), 0, &done, &error_);
    return error_.status == CASEFILE_OK ? room.substr(0, done) : error_.message;
  }

  support::Deadline deadline_{"CWriter"};
  support::TestFolder folder_;
  const std::string name_ = folder_.path("data.case");
  casefile_error error_{};
};

TEST_F(CWriter, WritesWhatAReaderGets) {
  writeWhole("case data");
  EXPECT_EQ(contents(), "0123456789case data");
}

TEST_F(CWriter, TellsItsPosition) {
  const auto writer = create();
  casefile_writer_write_dictionary(writer.get(), "0123456789", 10, &error_);
  casefile_writer_write(writer.get(), "abc", 3, &error_);
  int64_t position = 0;
  EXPECT_EQ(casefile_writer_get_position(writer.get(), &position, &error_), CASEFILE_OK);
  EXPECT_EQ(position, 13);
}

TEST_F(CWriter, WhatIsFreedOrCancelledUnfinishedLeavesNothing) {
  for (const bool cancelled : {false, true}) {
    const auto writer = create();
    casefile_writer_write_dictionary(writer.get(), "0123456789", 10, &error_);
    if (cancelled) {
      EXPECT_EQ(casefile_writer_cancel(writer.get(), &error_), CASEFILE_OK);
      EXPECT_EQ(casefile_writer_write(writer.get(), "abc", 3, &error_), CASEFILE_USAGE);
      casefile_error why{};
      EXPECT_EQ(casefile_writer_get_left_behind(writer.get(), &why, &error_), CASEFILE_OK);
      EXPECT_EQ(why.status, CASEFILE_OK);
    }
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_.folder()));
}

TEST_F(CWriter, ACallThatIsOutOfOrderIsUsageAndChangesNothing) {
  const auto writer = create();
  EXPECT_EQ(casefile_writer_write(writer.get(), "abc", 3, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_writer_write_dictionary(writer.get(), "0123456789", 10, &error_), CASEFILE_OK);
  EXPECT_EQ(casefile_writer_write(writer.get(), nullptr, 3, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_writer_write(writer.get(), nullptr, 0, &error_), CASEFILE_OK);
  EXPECT_EQ(casefile_writer_finish(writer.get(), &error_), CASEFILE_OK);
  EXPECT_EQ(casefile_writer_finish(writer.get(), &error_), CASEFILE_USAGE);
}

TEST_F(CWriter, AStoppingCallbackLeavesNothing) {
  casefile_writer_options options;
  casefile_writer_options_init(&options, sizeof options);
  options.progress = stop;
  {
    const auto writer = create(&options);
    casefile_writer_write_dictionary(writer.get(), "0123456789", 10, &error_);
    casefile_writer_write(writer.get(), "abc", 3, &error_);
    EXPECT_EQ(casefile_writer_finish(writer.get(), &error_), CASEFILE_CANCELLED);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_.folder()));
}

TEST_F(CWriter, AFileIsKeptWhereItMayNotBeReplaced) {
  writeWhole("old");
  casefile_writer_options options;
  casefile_writer_options_init(&options, sizeof options);
  options.replace = 0;
  EXPECT_EQ(create(&options), nullptr);
  EXPECT_EQ(error_.status, CASEFILE_SYSTEM);
  EXPECT_EQ(contents(), "0123456789old");
}

TEST_F(CWriter, DataThatHardlyCompressDoNotFit) {
  const std::string bytes = support::randomBytes(4'190'208, 1);
  const auto writer = create();
  casefile_writer_write_dictionary(writer.get(), "0123456789", 10, &error_);
  casefile_status status = casefile_writer_write(writer.get(), bytes.data(), bytes.size(), &error_);
  if (status == CASEFILE_OK) {
    status = casefile_writer_finish(writer.get(), &error_);
  }
  EXPECT_EQ(status, CASEFILE_DOES_NOT_FIT);
  EXPECT_EQ(error_.range_start, 10);
  EXPECT_EQ(error_.range_size, 4'190'208);
}

TEST_F(CWriter, PutsTogetherBlocksThatWereCompressedElsewhere) {
  const std::string block(casefile_block_size(), 'a');
  std::string compressed(block.size(), '\0');
  std::size_t length = 0;
  ASSERT_EQ(casefile_compress_block(block.data(), block.size(), CASEFILE_ZLIB, compressed.data(), compressed.size(),
                                    &length, &error_),
            CASEFILE_OK);
  const auto writer = create();
  casefile_writer_write_dictionary(writer.get(), "0123456789", 10, &error_);
  EXPECT_EQ(casefile_writer_write_block(writer.get(), compressed.data(), length, &error_), CASEFILE_OK);
  EXPECT_EQ(casefile_writer_write(writer.get(), "end", 3, &error_), CASEFILE_OK);
  EXPECT_EQ(casefile_writer_write_block(writer.get(), compressed.data(), length, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_writer_finish(writer.get(), &error_), CASEFILE_OK) << error_.message;
  casefile_reader* reader = nullptr;
  ASSERT_EQ(casefile_reader_open(name_.c_str(), nullptr, &reader, &error_), CASEFILE_OK);
  const Held<casefile_reader> held(reader);
  std::array<char, 10> last{};
  std::size_t done = 0;
  casefile_reader_read_at(reader, last.data(), last.size(), static_cast<int64_t>(block.size()) + 8, &done, &error_);
  EXPECT_EQ(std::string(last.data(), done), "aaend");
}

TEST_F(CWriter, RefusesWhatIsNoBlock) {
  const std::string block(casefile_block_size(), 'a');
  std::string room(block.size(), '\0');
  std::size_t length = 1;
  EXPECT_EQ(casefile_compress_block(block.data(), 3, CASEFILE_ZLIB, room.data(), room.size(), &length, &error_),
            CASEFILE_USAGE);
  EXPECT_EQ(casefile_compress_block(block.data(), block.size(), CASEFILE_ZLIB, room.data(), 3, &length, &error_),
            CASEFILE_USAGE);
  EXPECT_EQ(casefile_compress_block(block.data(), block.size(), 17, room.data(), room.size(), &length, &error_),
            CASEFILE_USAGE);
  EXPECT_EQ(
      casefile_compress_block(block.data(), block.size(), CASEFILE_ZLIB, room.data(), room.size(), nullptr, &error_),
      CASEFILE_USAGE);
  const auto writer = create();
  casefile_writer_write_dictionary(writer.get(), "0123456789", 10, &error_);
  casefile_status status = casefile_writer_write_block(writer.get(), "no block", 8, &error_);
  if (status == CASEFILE_OK) {
    status = casefile_writer_finish(writer.get(), &error_);
  }
  EXPECT_EQ(status, CASEFILE_DAMAGED);
  EXPECT_EQ(error_.range_start, 10);
}

TEST_F(CWriter, GivesRoomForBytesThatAreReadStraightIntoIt) {
  void* room = nullptr;
  std::size_t size = 0;
  {
    const auto writer = create();
    EXPECT_EQ(casefile_writer_get_room(writer.get(), &room, &size, &error_), CASEFILE_USAGE);
    casefile_writer_write_dictionary(writer.get(), "0123456789", 10, &error_);
    EXPECT_EQ(casefile_writer_get_room(writer.get(), &room, nullptr, &error_), CASEFILE_USAGE);
    ASSERT_EQ(casefile_writer_get_room(writer.get(), &room, &size, &error_), CASEFILE_OK);
    ASSERT_GE(size, 3U);
    std::memcpy(room, "one", 3);
    EXPECT_EQ(casefile_writer_advance(writer.get(), 3, &error_), CASEFILE_OK);
    EXPECT_EQ(casefile_writer_advance(writer.get(), 1, &error_), CASEFILE_USAGE);
    EXPECT_EQ(casefile_writer_finish(writer.get(), &error_), CASEFILE_OK);
  }
  const auto appender = append();
  ASSERT_EQ(casefile_appender_get_room(appender.get(), &room, &size, &error_), CASEFILE_OK);
  std::memcpy(room, "two", 3);
  EXPECT_EQ(casefile_appender_advance(appender.get(), size + 1, &error_), CASEFILE_USAGE);
  ASSERT_EQ(casefile_appender_get_room(appender.get(), &room, &size, &error_), CASEFILE_OK);
  EXPECT_EQ(casefile_appender_advance(appender.get(), 3, &error_), CASEFILE_OK);
  EXPECT_EQ(casefile_appender_finish(appender.get(), &error_), CASEFILE_OK);
  EXPECT_EQ(contents(), "0123456789onetwo");
}

TEST_F(CWriter, AppendsBehindWhatThereIs) {
  writeWhole("case data");
  const auto appender = append();
  std::array<char, 4> last{};
  std::size_t done = 0;
  EXPECT_EQ(casefile_appender_read_at(appender.get(), last.data(), last.size(), 15, &done, &error_), CASEFILE_OK);
  EXPECT_EQ(std::string(last.data(), done), "data");
  EXPECT_EQ(casefile_appender_write(appender.get(), " and more", 9, &error_), CASEFILE_OK);
  casefile_appender_info info{};
  EXPECT_EQ(casefile_appender_get_info(appender.get(), &info, sizeof info, &error_), CASEFILE_OK);
  EXPECT_EQ(info.row0, 10);
  EXPECT_EQ(info.position, 28);
  EXPECT_EQ(info.took_back, 0);
  EXPECT_EQ(casefile_appender_finish(appender.get(), &error_), CASEFILE_OK) << error_.message;
  EXPECT_EQ(contents(), "0123456789case data and more");
  casefile_error why{};
  EXPECT_EQ(casefile_appender_get_left_behind(appender.get(), &why, &error_), CASEFILE_OK);
  EXPECT_EQ(why.status, CASEFILE_OK);
}

TEST_F(CWriter, AnAppendThatIsCancelledOrFreedIsTakenBack) {
  writeWhole("case data");
  for (const bool cancelled : {false, true}) {
    const auto appender = append();
    casefile_appender_write(appender.get(), " and more", 9, &error_);
    if (cancelled) {
      EXPECT_EQ(casefile_appender_cancel(appender.get(), &error_), CASEFILE_OK);
    }
  }
  EXPECT_EQ(contents(), "0123456789case data");
}

TEST_F(CWriter, ASecondAppendIsBusy) {
  writeWhole("case data");
  const auto first = append();
  EXPECT_EQ(append(), nullptr);
  EXPECT_EQ(error_.status, CASEFILE_BUSY);
  EXPECT_EQ(error_.file, name_);
}

}  // namespace
