#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

#include "pipeline/blockCache.h"
#include "support/deadline.h"

namespace {

using casefile::pipeline::BlockCache;
using casefile::pipeline::BlockDecoder;
using casefile::pipeline::DecodedBlock;
using testing::ElementsAre;

constexpr std::size_t kSize = 4096;

// Makes blocks that are full of their own number, and notes which were asked for.
class NumberBlocks : public BlockDecoder {
 public:
  std::function<void(std::size_t)> before = [](std::size_t) {};

  void decode(std::size_t block, DecodedBlock& into) override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      decoded_.push_back(block);
    }
    before(block);
    std::memset(into.bytes.data(), static_cast<int>(block), kSize);
    into.size = kSize;
  }
  std::vector<std::size_t> decoded() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return decoded_;
  }

 private:
  std::mutex mutex_;
  std::vector<std::size_t> decoded_;
};

void expectNumber(const DecodedBlock& block, std::size_t number) {
  ASSERT_EQ(block.size, kSize);
  for (const std::size_t at : {std::size_t{0}, kSize / 2, kSize - 1}) {
    EXPECT_EQ(std::to_integer<std::size_t>(block.bytes.data()[at]), number);
  }
}

TEST(BlockCacheOrder, TheLeastRecentlyUsedBlockGoes) {
  NumberBlocks blocks;
  BlockCache cache(blocks, 2, kSize);
  for (const std::size_t block : {1U, 2U, 1U, 3U, 1U, 2U}) {
    expectNumber(*cache.get(block), block);
  }
  EXPECT_THAT(blocks.decoded(), ElementsAre(1, 2, 3, 2));
}

TEST(BlockCacheOrder, ACapacityOfNothingDecodesEachTime) {
  NumberBlocks blocks;
  BlockCache cache(blocks, 0, kSize);
  expectNumber(*cache.get(1), 1);
  expectNumber(*cache.get(1), 1);
  EXPECT_THAT(blocks.decoded(), ElementsAre(1, 1));
}

TEST(BlockCacheOrder, ABlockThatSomebodyHoldsStaysAsItIs) {
  NumberBlocks blocks;
  BlockCache cache(blocks, 1, kSize);
  const auto held = cache.get(1);
  for (std::size_t block = 2; block < 9; ++block) {
    expectNumber(*cache.get(block), block);
  }
  expectNumber(*held, 1);
}

TEST(BlockCacheOrder, RoomIsMadeBeforeABlockIsDecoded) {
  NumberBlocks blocks;
  BlockCache cache(blocks, 2, kSize);
  cache.get(1);
  std::weak_ptr<const DecodedBlock> second = cache.get(2);
  std::weak_ptr<const DecodedBlock> first = cache.get(1);
  blocks.before = [&](std::size_t) {
    EXPECT_TRUE(second.expired());
    EXPECT_FALSE(first.expired());
  };
  cache.get(3);
}

// One that is asked for while another is decoded, as by a second thread.
TEST(BlockCacheOrder, NoMoreBlocksAreKeptThanThereIsRoomForHoweverManyAreDecodedAtOnce) {
  NumberBlocks blocks;
  BlockCache cache(blocks, 1, kSize);
  blocks.before = [&](std::size_t block) {
    if (block == 1) {
      cache.get(2);
    }
  };
  cache.get(1);
  cache.get(1);
  cache.get(2);
  EXPECT_THAT(blocks.decoded(), ElementsAre(1, 2, 2));
}

TEST(BlockCacheErrors, AFailedDecodingIsToldAndTriedAgain) {
  NumberBlocks blocks;
  BlockCache cache(blocks, 2, kSize);
  blocks.before = [](std::size_t) { throw std::runtime_error("damaged"); };
  EXPECT_THROW(cache.get(1), std::runtime_error);
  blocks.before = [](std::size_t) {};
  expectNumber(*cache.get(1), 1);
}

class BlockCacheThreads : public testing::Test {
 protected:
  template <typename Body>
  void onThreads(std::size_t count, Body body) {
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) {
      threads.emplace_back(body, i);
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  support::Deadline deadline_{"BlockCacheThreads"};
  NumberBlocks blocks_;
};

TEST_F(BlockCacheThreads, ThoseWhoWantTheSameBlockWaitForOneDecoding) {
  BlockCache cache(blocks_, 2, kSize);
  std::atomic<int> asking = 0;
  blocks_.before = [&](std::size_t) {
    while (asking < 8) {
      std::this_thread::yield();
    }
  };
  onThreads(8, [&](std::size_t) {
    ++asking;
    expectNumber(*cache.get(5), 5);
  });
  EXPECT_THAT(blocks_.decoded(), ElementsAre(5));
}

TEST_F(BlockCacheThreads, AFailedDecodingWakesAllWhoWait) {
  BlockCache cache(blocks_, 2, kSize);
  std::atomic<int> asking = 0;
  std::atomic<int> told = 0;
  blocks_.before = [&](std::size_t) {
    while (asking < 8) {
      std::this_thread::yield();
    }
    throw std::runtime_error("damaged");
  };
  onThreads(8, [&](std::size_t) {
    ++asking;
    try {
      cache.get(5);
    } catch (const std::runtime_error&) {
      ++told;
    }
  });
  EXPECT_EQ(told, 8);
}

TEST_F(BlockCacheThreads, SixtyFourThreadsOverTwoBlocksOfRoomReadWhatTheyAskFor) {
  BlockCache cache(blocks_, 2, kSize);
  onThreads(64, [&](std::size_t seed) {
    std::minstd_rand random(static_cast<unsigned>(seed) + 1);
    for (int i = 0; i < 200; ++i) {
      const std::size_t block = random() % 7;
      expectNumber(*cache.get(block), block);
    }
  });
}

}  // namespace
