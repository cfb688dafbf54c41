// Readers whose sources fail, block or deliver little, and whose sinks and callbacks raise: on 1, 2 and 8 threads.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "../support/sources.h"
#include "casefile/reader.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"

namespace {

using casefile::Next;
using casefile::Progress;
using casefile::Reader;
using casefile::ReaderOptions;
using support::Image;
using support::ScriptedSource;

constexpr int64 kRow0 = 100;
constexpr std::size_t kBlocks = 12;
constexpr std::size_t kBytes = kBlocks * 1000;

// What the program knows alone, though it looks like an error that the library meets itself.
struct Own : std::system_error {
  explicit Own(int which) : std::system_error(EIO, std::generic_category()), number(which) {}
  int number;
};

std::optional<int> numberOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Own& own) {
    return own.number;
  }
  return std::nullopt;
}

class ReaderFaults : public testing::TestWithParam<std::size_t> {
 protected:
  ReaderOptions options(std::size_t cachedBlocks = 2) const {
    ReaderOptions result;
    result.threads = GetParam();
    result.cacheBytes = cachedBlocks * support::kBlock;
    return result;
  }

  // The `number`th read from now on raises Own of that number.
  void failRead(int number) {
    source_->beforeRead = [number, seen = std::make_shared<std::atomic<int>>(0)](int64) {
      if (++*seen == number) {
        throw Own{number};
      }
    };
  }

  std::string readAll(const Reader& reader) {
    std::string bytes;
    reader.read({kRow0, static_cast<int64>(kBytes)}, [&](std::span<const std::byte> piece, int64 position) {
      EXPECT_EQ(position, kRow0 + static_cast<int64>(bytes.size()));
      bytes += support::text(piece);
    });
    return bytes;
  }

  // Many threads read somewhere, again and again. Returns: how many reads told success of wrong bytes.
  int readFromThreads(const Reader& reader, unsigned count, std::atomic<int>& failures) {
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (unsigned seed = 1; seed <= count; ++seed) {
      threads.emplace_back([&, seed] {
        std::minstd_rand random(seed);
        for (int i = 0; i < 30; ++i) {
          const auto position = static_cast<int64>(random() % (kBytes - 1500));
          std::string bytes(1500, '?');  // of two blocks or three
          try {
            reader.readAt(support::writable(bytes), kRow0 + position);
            wrong += bytes == support::caseBytes(kRow0 + position, bytes.size()) ? 0 : 1;
          } catch (const Own&) {  // those who waited for one decoding share it: its release is not for the sanitizer
            ++failures;
          }
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    return wrong;
  }

  support::Deadline deadline_{"ReaderFaults"};
  const std::string expected_ = support::caseBytes(kRow0, kBytes);
  std::shared_ptr<ScriptedSource> source_ =
      std::make_shared<ScriptedSource>(Image::of(kRow0, std::vector<std::size_t>(kBlocks, 1000)).bytes());
};

TEST_P(ReaderFaults, WhatAnyReadOfASourceRaisesIsRaisedByTheCallAsItIs) {
  for (int number = 1;; ++number) {
    ASSERT_LT(number, 1000);
    failRead(number);
    std::string bytes;
    const auto raised = numberOf([&] { bytes = readAll(Reader::open(source_, options())); });
    if (!raised) {
      EXPECT_EQ(bytes, expected_);
      EXPECT_GT(number, static_cast<int>(kBlocks));
      return;
    }
    EXPECT_EQ(raised, number);
  }
}

TEST_P(ReaderFaults, AReaderWhoseSourceFailedReadsOnWithIt) {
  const Reader reader = Reader::open(source_, options());
  for (int number = 1; number <= static_cast<int>(kBlocks); ++number) {
    failRead(number);
    EXPECT_EQ(numberOf([&] { readAll(reader); }), number);
    EXPECT_EQ(readAll(reader), expected_);
    failRead(number);
    std::string bytes(kBytes, '?');
    numberOf([&] { reader.readAt(support::writable(bytes), kRow0); });  // the cache may make the read needless
    EXPECT_EQ(reader.readAt(support::writable(bytes), kRow0), kBytes);
    EXPECT_EQ(bytes, expected_);
  }
}

TEST_P(ReaderFaults, ManyThreadsOverASourceThatFailsNowAndThenGetItsErrorOrRightBytes) {
  const Reader reader = Reader::open(source_, options());
  std::atomic<int> reads = 0;
  source_->beforeRead = [&](int64) {
    if (++reads % 7 == 0) {
      throw Own{7};
    }
  };
  std::atomic<int> failures = 0;
  EXPECT_EQ(readFromThreads(reader, 64, failures), 0);
  EXPECT_GT(failures, 0);
  source_->beforeRead = [](int64) {};
  EXPECT_EQ(readAll(reader), expected_);
}

TEST_P(ReaderFaults, ManyThreadsAndReadsInOrderShareOneReader) {
  const Reader reader = Reader::open(source_, options());
  std::atomic<int> failures = 0;
  std::atomic<int> wrong = 0;
  std::thread atRandom([&] { wrong += readFromThreads(reader, 16, failures); });
  std::thread inOrder([&] { wrong += readAll(reader) == expected_ ? 0 : 1; });
  wrong += readAll(reader) == expected_ ? 0 : 1;
  inOrder.join();
  atRandom.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(failures, 0);
}

TEST_P(ReaderFaults, ASourceThatDeliversLittleAtOnceIsReadToItsEnd) {
  for (const std::size_t most : {1U, 7U, 64U}) {
    source_->mostAtOnce = most;
    const Reader reader = Reader::open(source_, options(0));
    EXPECT_EQ(readAll(reader), expected_);
    std::string bytes(kBytes + 1, '?');
    EXPECT_EQ(reader.readAt(support::writable(bytes), kRow0), kBytes);
  }
}

TEST_P(ReaderFaults, AFirstBlockThatBlocksIsDeliveredFirstWhileTheOthersAreReadAhead) {
  const Reader reader = Reader::open(source_, options());
  std::mutex mutex;
  std::condition_variable changed;
  std::size_t ahead = 0;
  source_->beforeRead = [&](int64 position) {
    std::unique_lock lock(mutex);
    if (position == reader.block(0).filePosition) {
      changed.wait(lock, [&] { return ahead >= GetParam() - 1; });  // each of the other threads is at a block
    } else {
      ++ahead;
      changed.notify_all();
    }
  };
  EXPECT_EQ(readAll(reader), expected_);
}

TEST_P(ReaderFaults, WhatASinkRaisesAtAnyBlockEndsTheCallThere) {
  const Reader reader = Reader::open(source_, options());
  for (int number = 1; number <= static_cast<int>(kBlocks); ++number) {
    std::string bytes;
    int calls = 0;
    EXPECT_EQ(numberOf([&] {
                reader.read({kRow0, static_cast<int64>(kBytes)}, [&](std::span<const std::byte> piece, int64) {
                  if (++calls == number) {
                    throw Own{number};
                  }
                  bytes += support::text(piece);
                });
              }),
              number);
    EXPECT_EQ(calls, number);
    EXPECT_EQ(bytes, expected_.substr(0, bytes.size()));
  }
  EXPECT_EQ(readAll(reader), expected_);
}

TEST_P(ReaderFaults, WhatACallbackRaisesAtAnyBlockEndsTheCallThere) {
  const Reader reader = Reader::open(source_, options());
  for (int number = 1; number <= static_cast<int>(kBlocks); ++number) {
    int calls = 0;
    EXPECT_EQ(numberOf([&] {
                reader.read(
                    {kRow0, static_cast<int64>(kBytes)}, [](auto, int64) {},
                    [&](const Progress&) { return ++calls == number ? throw Own{number} : Next::proceed; });
              }),
              number);
    EXPECT_EQ(calls, number);
  }
  EXPECT_EQ(readAll(reader), expected_);
}

TEST_P(ReaderFaults, ASinkMayReadInOrderFromTheSameReader) {
  const Reader reader = Reader::open(source_, options());
  int nested = 0;
  reader.read({kRow0, static_cast<int64>(kBytes)},
              [&](auto, int64) { nested += readAll(reader) == expected_ ? 1 : 0; });
  EXPECT_EQ(nested, static_cast<int>(kBlocks));
}

INSTANTIATE_TEST_SUITE_P(Threads, ReaderFaults, testing::Values(1, 2, 8));

}  // namespace
