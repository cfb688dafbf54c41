#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "../support/sources.h"
#include "casefile/error.h"
#include "casefile/reader.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"

namespace {

using casefile::ErrorKind;
using casefile::Next;
using casefile::Progress;
using casefile::Reader;
using casefile::ReaderOptions;
using support::errorOf;
using support::Image;
using support::ScriptedSource;

constexpr int64 kRow0 = 100;

// Eight blocks of a thousand bytes each.
std::string eightBlocks() { return Image::of(kRow0, std::vector<std::size_t>(8, 1000)).bytes(); }

ReaderOptions options(std::size_t threads, std::size_t cachedBlocks = 2) {
  ReaderOptions result;
  result.row0 = kRow0;
  result.threads = threads;
  result.cacheBytes = cachedBlocks * support::kBlock;
  return result;
}

class ReaderThreads : public testing::Test {
 protected:
  support::Deadline deadline_{"ReaderThreads"};
  std::shared_ptr<ScriptedSource> source_ = std::make_shared<ScriptedSource>(eightBlocks());
};

TEST_F(ReaderThreads, SixtyFourReadOneReaderWhoseCacheHoldsTwoBlocks) {
  const Reader reader = Reader::open(source_, options(1));
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (unsigned seed = 1; seed <= 64; ++seed) {
    threads.emplace_back([&, seed] {
      std::minstd_rand random(seed);
      for (int i = 0; i < 40; ++i) {
        const auto position = static_cast<int64>(random() % 7900);
        std::string bytes(50, '?');
        reader.readAt(support::writable(bytes), kRow0 + position);
        wrong += bytes == support::caseBytes(kRow0 + position, 50) ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

TEST_F(ReaderThreads, ABlockInTheCacheIsNotReadAgain) {
  const Reader reader = Reader::open(source_, options(1));
  std::string bytes(10, '?');
  reader.readAt(support::writable(bytes), kRow0);
  const std::size_t before = source_->reads;
  reader.readAt(support::writable(bytes), kRow0 + 500);
  EXPECT_EQ(source_->reads, before);
}

TEST_F(ReaderThreads, WithoutACacheEachReadDecodes) {
  const Reader reader = Reader::open(source_, options(1, 0));
  std::string bytes(10, '?');
  reader.readAt(support::writable(bytes), kRow0);
  const std::size_t before = source_->reads;
  reader.readAt(support::writable(bytes), kRow0);
  EXPECT_EQ(source_->reads, before + 1);
}

TEST_F(ReaderThreads, ASourceThatDeliversLittleAtOnceIsReadToItsEnd) {
  source_->mostAtOnce = 7;
  const Reader reader = Reader::open(source_, options(4));
  std::string bytes(9000, '?');
  EXPECT_EQ(reader.readAt(support::writable(bytes), kRow0), 8000U);
  EXPECT_EQ(bytes.substr(0, 8000), support::caseBytes(kRow0, 8000));
}

TEST_F(ReaderThreads, WhatASourceThrowsPassesThroughAndTheReaderLivesOn) {
  struct Own {};
  bool fails = false;
  source_->beforeRead = [&](int64) {
    if (fails) {
      throw Own();
    }
  };
  const Reader reader = Reader::open(source_, options(4));
  fails = true;
  std::string bytes(10, '?');
  EXPECT_THROW(reader.readAt(support::writable(bytes), kRow0), Own);
  EXPECT_THROW(reader.read({kRow0, 8000}, [](auto, int64) {}), Own);
  fails = false;
  reader.readAt(support::writable(bytes), kRow0);
  EXPECT_EQ(bytes, support::caseBytes(kRow0, 10));
}

TEST_F(ReaderThreads, ASourceThatClaimsMoreThanItWasAskedForIsRefused) {
  class Liar : public ScriptedSource {
   public:
    using ScriptedSource::ScriptedSource;
    std::size_t readAt(std::span<std::byte> buffer, std::int64_t) const override { return buffer.size() + 1; }
  };
  EXPECT_EQ(errorOf([] { Reader::open(std::make_shared<Liar>(eightBlocks()), options(1)); }).kind(), ErrorKind::usage);
}

TEST_F(ReaderThreads, ABlockWhoseReadBlocksHoldsUpNoReaderOfAnother) {
  std::mutex mutex;
  std::condition_variable changed;
  bool blocked = false;
  bool open = false;
  const Reader reader = Reader::open(source_, options(1));
  const int64 held = reader.block(3).filePosition;
  source_->beforeRead = [&](int64 position) {
    if (position == held) {
      std::unique_lock lock(mutex);
      blocked = true;
      changed.notify_all();
      changed.wait(lock, [&] { return open; });
    }
  };
  std::string late(10, '?');
  std::thread waits([&] { reader.readAt(support::writable(late), kRow0 + 3000); });
  {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return blocked; });
  }
  std::string bytes(10, '?');
  reader.readAt(support::writable(bytes), kRow0 + 5000);
  EXPECT_EQ(bytes, support::caseBytes(kRow0 + 5000, 10));
  {
    const std::lock_guard lock(mutex);
    open = true;
  }
  changed.notify_all();
  waits.join();
  EXPECT_EQ(late, support::caseBytes(kRow0 + 3000, 10));
}

TEST_F(ReaderThreads, ACallbackCanStopAtEveryBlock) {
  for (const std::size_t threads : {1U, 2U, 8U}) {
    const Reader reader = Reader::open(source_, options(threads));
    for (int stopAt = 1; stopAt <= 8; ++stopAt) {
      int calls = 0;
      int64 delivered = 0;
      const auto error = errorOf([&] {
        reader.read(
            {kRow0, 8000}, [&](auto bytes, int64) { delivered += static_cast<int64>(bytes.size()); },
            [&](const Progress& progress) {
              EXPECT_EQ(progress.bytesDone, delivered);
              EXPECT_EQ(progress.bytesInAll, 8000);
              return ++calls == stopAt ? Next::stop : Next::proceed;
            });
      });
      EXPECT_EQ(error.kind(), ErrorKind::cancelled);
      EXPECT_EQ(delivered, stopAt * 1000);
    }
  }
}

TEST_F(ReaderThreads, WhatSinkAndCallbackThrowPassesThrough) {
  const Reader reader = Reader::open(source_, options(4));
  EXPECT_THROW(reader.read({kRow0, 8000}, [](auto, int64) { throw 7; }), int);
  EXPECT_THROW(reader.read(
                   {kRow0, 8000}, [](auto, int64) {}, [](const Progress&) -> Next { throw 7; }),
               int);
}

TEST_F(ReaderThreads, UnorderedReadingGivesEachByteOfTheRangeOnceAtItsPosition) {
  for (const std::size_t threads : {1U, 2U, 8U}) {
    const Reader reader = Reader::open(source_, options(threads));
    for (const casefile::LogicalRange range : {casefile::LogicalRange{0, 8100}, {90, 1500}, {kRow0 + 999, 2}}) {
      std::string bytes(static_cast<std::size_t>(range.size), '?');
      std::atomic<int64> delivered = 0;
      int64 told = 0;
      reader.readUnordered(
          range,
          [&](std::span<const std::byte> piece, int64 position) {
            std::memcpy(bytes.data() + (position - range.start), piece.data(), piece.size());
            delivered += static_cast<int64>(piece.size());
          },
          [&](const Progress& progress) {
            told = progress.bytesDone;
            return Next::proceed;
          });
      std::string expected(bytes.size(), '!');
      EXPECT_EQ(reader.readAt(support::writable(expected), range.start), expected.size());
      EXPECT_EQ(bytes, expected);
      EXPECT_EQ(delivered, range.size);
      EXPECT_EQ(told, range.size);
    }
  }
}

TEST_F(ReaderThreads, UnorderedReadingLetsNoSinkWaitForAnother) {
  std::mutex mutex;
  std::condition_variable changed;
  int inSink = 0;
  const Reader reader = Reader::open(source_, options(4));
  reader.readUnordered({kRow0, 4000}, [&](auto, int64) {
    std::unique_lock lock(mutex);
    ++inSink;
    changed.notify_all();
    changed.wait(lock, [&] { return inSink == 4; });
  });
  EXPECT_EQ(inSink, 4);
}

TEST_F(ReaderThreads, UnorderedReadingRaisesTheErrorOfTheFirstBlockInOrder) {
  const Reader reader = Reader::open(source_, options(4));
  for (int round = 0; round < 20; ++round) {
    try {
      reader.readUnordered({kRow0, 8000}, [](auto, int64 position) {
        if (position >= kRow0 + 2000) {
          throw position;
        }
      });
      ADD_FAILURE() << "nothing was thrown";
    } catch (int64 position) {
      EXPECT_EQ(position, kRow0 + 2000);
    }
  }
}

TEST_F(ReaderThreads, UnorderedReadingStopsWhenTheCallbackSaysSo) {
  for (const std::size_t threads : {1U, 8U}) {
    const Reader reader = Reader::open(source_, options(threads));
    const auto stop = [](const Progress&) { return Next::stop; };
    EXPECT_EQ(errorOf([&] {
                reader.readUnordered(
                    {kRow0, 8000}, [](auto, int64) {}, stop);
              }).kind(),
              ErrorKind::cancelled);
    EXPECT_EQ(errorOf([&] { reader.readUnordered({-1, 1}, [](auto, int64) {}); }).kind(), ErrorKind::usage);
    EXPECT_EQ(errorOf([&] { reader.readUnordered({0, 1}, {}); }).kind(), ErrorKind::usage);
  }
}

TEST_F(ReaderThreads, ASinkMayReadFromTheSameReader) {
  const Reader reader = Reader::open(source_, options(4));
  reader.read({kRow0, 8000}, [&](std::span<const std::byte> bytes, int64 position) {
    std::string again(bytes.size(), '?');
    reader.readAt(support::writable(again), position);
    EXPECT_EQ(again, support::text(bytes));
  });
}

}  // namespace
