#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "../support/cFiles.h"
#include "../support/damagedFiles.h"
#include "casefile/c.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"

namespace {

using support::Held;
using support::Image;
using support::readerOver;

constexpr int64 kRow0 = 100;
constexpr int64 kEnd = kRow0 + 8000;

// Eight blocks of a thousand bytes each.
Image eightBlocks() { return Image::of(kRow0, std::vector<std::size_t>(8, 1000)); }

class CReader : public testing::Test {
 protected:
  support::Deadline deadline_{"CReader"};
  const std::string bytes_ = eightBlocks().bytes();
  casefile_error error_{};
};

TEST_F(CReader, TellsSizesBlocksAndDictionary) {
  const auto reader = readerOver(bytes_);
  casefile_reader_info info{};
  ASSERT_EQ(casefile_reader_get_info(reader.get(), &info, sizeof info, &error_), CASEFILE_OK) << error_.message;
  EXPECT_EQ(info.row0, kRow0);
  EXPECT_EQ(info.size, kEnd);
  EXPECT_EQ(info.blocks, 8U);
  EXPECT_EQ(info.swapped, 0);
  EXPECT_EQ(info.unfinished, 0);
  casefile_block block{};
  ASSERT_EQ(casefile_reader_get_block(reader.get(), 2, &block, &error_), CASEFILE_OK);
  EXPECT_EQ(block.range.start, kRow0 + 2000);
  EXPECT_EQ(block.range.size, 1000);
  EXPECT_EQ(block.file_position, eightBlocks().records[2].translatePos);
  std::string dictionary(kRow0, '?');
  std::size_t length = 0;
  ASSERT_EQ(casefile_reader_get_dictionary(reader.get(), dictionary.data(), dictionary.size(), &length, &error_),
            CASEFILE_OK);
  EXPECT_EQ(length, static_cast<std::size_t>(kRow0));
  EXPECT_EQ(dictionary, support::dictionaryBytes(kRow0));
}

TEST_F(CReader, ADictionaryIsCutToTheRoomAndItsWholeLengthTold) {
  const auto reader = readerOver(bytes_);
  std::size_t length = 0;
  std::array<char, 4> room{'?', '?', '?', '?'};
  ASSERT_EQ(casefile_reader_get_dictionary(reader.get(), room.data(), 3, &length, &error_), CASEFILE_OK);
  EXPECT_EQ(length, static_cast<std::size_t>(kRow0));
  EXPECT_THAT(room, testing::ElementsAre('d', 'i', 'c', '?'));
  EXPECT_EQ(casefile_reader_get_dictionary(reader.get(), nullptr, 0, &length, &error_), CASEFILE_OK);
}

TEST_F(CReader, ReadsAtAnyPositionAndFewerBytesAtTheEnd) {
  const auto reader = readerOver(bytes_);
  std::string room(1500, '?');
  std::size_t done = 0;
  ASSERT_EQ(casefile_reader_read_at(reader.get(), room.data(), room.size(), kRow0 + 700, &done, &error_), CASEFILE_OK);
  EXPECT_EQ(room, support::caseBytes(kRow0 + 700, 1500));
  ASSERT_EQ(casefile_reader_read_at(reader.get(), room.data(), room.size(), kEnd - 10, &done, &error_), CASEFILE_OK);
  EXPECT_EQ(done, 10U);
  ASSERT_EQ(casefile_reader_read_at(reader.get(), room.data(), room.size(), kEnd + 5, &done, &error_), CASEFILE_OK);
  EXPECT_EQ(done, 0U);
}

TEST_F(CReader, ReadsIntoABufferOnSeveralThreads) {
  const auto reader = readerOver(bytes_, nullptr, 3);
  std::string room(9000, '?');
  std::size_t done = 0;
  ASSERT_EQ(casefile_reader_read_into(reader.get(), room.data(), room.size(), 50, &done, nullptr, nullptr, &error_),
            CASEFILE_OK);
  EXPECT_EQ(done, static_cast<std::size_t>(kEnd - 50));
  EXPECT_EQ(room.substr(50, 8000), support::caseBytes(kRow0, 8000));
  EXPECT_EQ(room.substr(done), std::string(room.size() - done, '?'));
  EXPECT_EQ(casefile_reader_read_into(reader.get(), room.data(), 1, kEnd, &done, nullptr, nullptr, &error_),
            CASEFILE_OK);
  EXPECT_EQ(done, 0U);
  EXPECT_EQ(casefile_reader_read_into(reader.get(), room.data(), 1, -1, &done, nullptr, nullptr, &error_),
            CASEFILE_USAGE);
  EXPECT_THAT(error_.message, testing::HasSubstr("a negative position"));
}

struct Taken {
  std::string bytes;
  int64 next = kRow0;
  int stopAfter = 1000;
  int calls = 0;
  int told = 0;
};

int32_t take(void* user, const void* bytes, std::size_t size, int64_t position) {
  Taken& taken = *static_cast<Taken*>(user);
  taken.bytes += position == taken.next ? "" : "<gap>";
  taken.bytes.append(static_cast<const char*>(bytes), size);
  taken.next = position + static_cast<int64>(size);
  return ++taken.calls < taken.stopAfter ? 0 : 1;
}

int32_t tell(void* user, const casefile_progress* progress) {
  ++static_cast<Taken*>(user)->told;
  return progress->phase == CASEFILE_READING ? 0 : 1;
}

int32_t stopAtOnce(void*, const casefile_progress*) { return 1; }
int32_t raise(void*, const casefile_progress*) { throw std::domain_error("the callback's own"); }
int32_t raiseNoException(void*, const casefile_progress*) { throw 42; }

TEST_F(CReader, GivesARangeInOrderAndTellsHowFarItIs) {
  const auto reader = readerOver(bytes_, nullptr, 3);
  Taken taken;
  ASSERT_EQ(casefile_reader_read(reader.get(), kRow0, 1'000'000, take, tell, &taken, &error_), CASEFILE_OK)
      << error_.message;
  EXPECT_EQ(taken.bytes, support::caseBytes(kRow0, 8000));
  EXPECT_GE(taken.told, 8);
}

TEST_F(CReader, ASinkThatStopsIsCancelled) {
  const auto reader = readerOver(bytes_);
  Taken taken;
  taken.stopAfter = 2;
  EXPECT_EQ(casefile_reader_read(reader.get(), kRow0, 8000, take, nullptr, &taken, &error_), CASEFILE_CANCELLED);
  EXPECT_EQ(taken.calls, 2);
  EXPECT_EQ(error_.status, CASEFILE_CANCELLED);
}

// For blocks out of order, which several threads give at once.
int32_t countBytes(void* user, const void*, std::size_t size, int64_t) {
  *static_cast<std::atomic<std::size_t>*>(user) += size;
  return 0;
}

TEST_F(CReader, AProgressCallbackThatStopsIsCancelled) {
  const auto reader = readerOver(bytes_);
  Taken taken;
  EXPECT_EQ(casefile_reader_read(reader.get(), kRow0, 8000, take, stopAtOnce, &taken, &error_), CASEFILE_CANCELLED);
  std::atomic<std::size_t> bytes = 0;
  EXPECT_EQ(casefile_reader_read_unordered(reader.get(), kRow0, 8000, countBytes, stopAtOnce, &bytes, &error_),
            CASEFILE_CANCELLED);
}

TEST_F(CReader, WhatACallbackRaisesBecomesAStatus) {
  const auto reader = readerOver(bytes_, nullptr, 3);
  std::string room(8000, '?');
  std::size_t done = 77;
  EXPECT_EQ(casefile_reader_read_into(reader.get(), room.data(), 8000, kRow0, &done, raise, nullptr, &error_),
            CASEFILE_OTHER);
  EXPECT_STREQ(error_.message, "the callback's own");
  EXPECT_EQ(done, 77U);
  EXPECT_EQ(
      casefile_reader_read_into(reader.get(), room.data(), 8000, kRow0, &done, raiseNoException, nullptr, &error_),
      CASEFILE_OTHER);
  EXPECT_STRNE(error_.message, "");
}

TEST_F(CReader, GivesARangeUnordered) {
  const auto reader = readerOver(bytes_, nullptr, 4);
  std::atomic<std::size_t> count = 0;
  ASSERT_EQ(casefile_reader_read_unordered(reader.get(), 0, kEnd, countBytes, nullptr, &count, &error_), CASEFILE_OK);
  EXPECT_EQ(count, static_cast<std::size_t>(kEnd));
}

TEST_F(CReader, DividesTheCaseData) {
  const auto reader = readerOver(bytes_);
  std::array<casefile_range, 5> ranges{};
  std::size_t found = 0;
  ASSERT_EQ(casefile_reader_get_partitions(reader.get(), 4, 10, ranges.data(), &found, &error_), CASEFILE_OK);
  ASSERT_EQ(found, 4U);
  int64 next = kRow0;
  for (std::size_t i = 0; i < found; ++i) {
    EXPECT_EQ(ranges[i].start, next);
    next += ranges[i].size;
  }
  EXPECT_EQ(next, kEnd);
  EXPECT_EQ(ranges[4].size, 0);
  EXPECT_EQ(casefile_reader_get_partitions(reader.get(), 0, 10, ranges.data(), &found, &error_), CASEFILE_USAGE);
}

TEST_F(CReader, ADamagedBlockTellsItsRangeAndTheOthersAreRead) {
  Image image = eightBlocks();
  support::breakBlock(image, 3);
  const std::string bytes = image.bytes();
  const auto reader = readerOver(bytes);
  std::string room(1000, '?');
  std::size_t done = 0;
  EXPECT_EQ(casefile_reader_read_at(reader.get(), room.data(), 10, kRow0 + 3100, &done, &error_), CASEFILE_DAMAGED);
  EXPECT_EQ(error_.range_start, kRow0 + 3000);
  EXPECT_EQ(error_.range_size, 1000);
  EXPECT_EQ(error_.file_position, image.records[3].translatePos);
  EXPECT_STREQ(error_.file, "memory");
  EXPECT_EQ(casefile_reader_read_at(reader.get(), room.data(), 1000, kRow0 + 4000, &done, &error_), CASEFILE_OK);
  EXPECT_EQ(error_.status, CASEFILE_OK);
  EXPECT_EQ(error_.range_start, -1);
  EXPECT_STREQ(error_.message, "");
}

TEST_F(CReader, SixtyFourThreadsShareOne) {
  const auto reader = readerOver(bytes_, nullptr, 1);
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (unsigned seed = 1; seed <= 64; ++seed) {
    threads.emplace_back([&, seed] {
      std::minstd_rand random(seed);
      for (int i = 0; i < 20; ++i) {
        const auto position = kRow0 + static_cast<int64>(random() % 7900);
        std::string room(50, '?');
        std::size_t done = 0;
        casefile_error error;
        const auto status = casefile_reader_read_at(reader.get(), room.data(), 50, position, &done, &error);
        wrong += status == CASEFILE_OK && room == support::caseBytes(position, 50) ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

// A source of the program's own.
struct Script {
  std::string bytes;
  int32_t code = 0;
  std::atomic<int> released = 0;
};

int32_t lengthOf(void* user, int64_t* length) {
  *length = static_cast<int64_t>(static_cast<Script*>(user)->bytes.size());
  return 0;
}

// Never more than 700 bytes at once.
int32_t readScript(void* user, void* buffer, std::size_t size, int64_t position, std::size_t* done) {
  const Script& script = *static_cast<Script*>(user);
  *done = std::min({size, std::size_t{700}, script.bytes.size() - static_cast<std::size_t>(position)});
  std::memcpy(buffer, script.bytes.data() + position, *done);
  return script.code;
}

int32_t readTooMuch(void*, void*, std::size_t size, int64_t, std::size_t* done) {
  *done = size + 1;
  return 0;
}

void release(void* user) { ++static_cast<Script*>(user)->released; }

casefile_source_callbacks callbacksOf(Script& script) {
  casefile_source_callbacks callbacks;
  casefile_source_callbacks_init(&callbacks, sizeof callbacks);
  callbacks.user = &script;
  callbacks.length = lengthOf;
  callbacks.read_at = readScript;
  callbacks.release = release;
  return callbacks;
}

TEST_F(CReader, ReadsThroughCallbacksWhichAreReleasedWithTheLastUser) {
  Script script{bytes_};
  const casefile_source_callbacks callbacks = callbacksOf(script);
  casefile_source* source = nullptr;
  ASSERT_EQ(casefile_source_from_callbacks(&callbacks, "scripted", &source, &error_), CASEFILE_OK);
  casefile_reader* reader = nullptr;
  ASSERT_EQ(casefile_reader_open_source(source, nullptr, &reader, &error_), CASEFILE_OK) << error_.message;
  casefile_source_free(source);
  EXPECT_EQ(script.released, 0);
  std::string room(8000, '?');
  std::size_t done = 0;
  ASSERT_EQ(casefile_reader_read_at(reader, room.data(), 8000, kRow0, &done, &error_), CASEFILE_OK);
  EXPECT_EQ(room, support::caseBytes(kRow0, 8000));
  script.code = EIO;
  EXPECT_EQ(casefile_reader_read_into(reader, room.data(), 8000, kRow0, &done, nullptr, nullptr, &error_),
            CASEFILE_SYSTEM);
  EXPECT_EQ(error_.system_code, EIO);
  EXPECT_STREQ(error_.file, "scripted");
  EXPECT_STREQ(error_.operation, "read");
  casefile_reader_free(reader);
  EXPECT_EQ(script.released, 1);
}

TEST_F(CReader, ASourceThatWasRefusedIsNotReleased) {
  Script script{bytes_};
  casefile_source_callbacks callbacks = callbacksOf(script);
  casefile_source* source = nullptr;
  callbacks.read_at = nullptr;
  EXPECT_EQ(casefile_source_from_callbacks(&callbacks, "scripted", &source, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_source_from_callbacks(&callbacks, nullptr, &source, &error_), CASEFILE_USAGE);
  EXPECT_EQ(source, nullptr);
  EXPECT_EQ(script.released, 0);
}

TEST_F(CReader, ASourceThatTellsOfMoreThanThereIsRoomForIsUsage) {
  Script script{bytes_};
  casefile_source_callbacks callbacks = callbacksOf(script);
  callbacks.read_at = readTooMuch;
  casefile_source* source = nullptr;
  ASSERT_EQ(casefile_source_from_callbacks(&callbacks, "scripted", &source, &error_), CASEFILE_OK);
  casefile_reader* reader = nullptr;
  EXPECT_EQ(casefile_reader_open_source(source, nullptr, &reader, &error_), CASEFILE_USAGE);
  EXPECT_THAT(error_.message, testing::HasSubstr("more bytes were read than there is room for"));
  EXPECT_EQ(reader, nullptr);
  casefile_source_free(source);
  EXPECT_EQ(script.released, 1);
}

}  // namespace
