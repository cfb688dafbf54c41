#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <numeric>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "pipeline/orderedLine.h"
#include "support/deadline.h"

namespace {

using casefile::pipeline::OrderedLine;
using casefile::pipeline::OrderedWork;
using casefile::pipeline::runInOrder;

// Notes what is asked of it; tests say what an item does.
class NotedWork : public OrderedWork {
 public:
  std::function<void(std::size_t)> whenMade = [](std::size_t) {};
  std::function<void(std::size_t)> whenDelivered = [](std::size_t) {};
  std::vector<std::size_t> delivered;
  std::atomic<std::size_t> made = 0;

  void make(std::size_t item, std::size_t worker) override {
    ++made;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      EXPECT_TRUE(busy_.insert(worker).second) << "worker " << worker << " makes two items at once";
    }
    whenMade(item);
    const std::lock_guard<std::mutex> lock(mutex_);
    busy_.erase(worker);
  }
  void deliver(std::size_t item, std::size_t /*worker*/) override {
    delivered.push_back(item);  // no lock: the thread sanitizer proves that nobody else does
    whenDelivered(item);
  }

 private:
  std::mutex mutex_;
  std::set<std::size_t> busy_;
};

std::vector<std::size_t> upTo(std::size_t count) {
  std::vector<std::size_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

std::string errorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "none";
}

class OrderedRun : public testing::TestWithParam<std::size_t> {
 protected:
  support::Deadline deadline_{"OrderedRun"};
  NotedWork work_;
};

TEST_P(OrderedRun, EachItemIsMadeOnceAndDeliveredInOrder) {
  for (const std::size_t items : {0U, 1U, 2U, 7U, 100U}) {
    NotedWork work;
    runInOrder(work, items, GetParam());
    EXPECT_EQ(work.delivered, upTo(items));
    EXPECT_EQ(work.made, items);
  }
}

TEST_P(OrderedRun, TheFirstErrorInOrderWinsAndNothingBehindItIsDelivered) {
  work_.whenMade = [](std::size_t item) {
    if (item == 5 || item >= 7) {
      throw std::runtime_error("item " + std::to_string(item));
    }
  };
  EXPECT_EQ(errorOf([&] { runInOrder(work_, 40, GetParam()); }), "item 5");
  EXPECT_EQ(work_.delivered, upTo(5));
}

TEST_P(OrderedRun, AnErrorOfADeliveryEndsTheWork) {
  work_.whenDelivered = [](std::size_t item) {
    if (item == 3) {
      throw std::runtime_error("full");
    }
  };
  EXPECT_EQ(errorOf([&] { runInOrder(work_, 1000, GetParam()); }), "full");
  EXPECT_EQ(work_.delivered, upTo(4));
  EXPECT_LE(work_.made, 4 + GetParam());
}

TEST_P(OrderedRun, WhatIsNoStandardExceptionPassesThroughToo) {
  work_.whenMade = [](std::size_t) { throw 42; };
  EXPECT_THROW(runInOrder(work_, 3, GetParam()), int);
}

INSTANTIATE_TEST_SUITE_P(Threads, OrderedRun, testing::Values(1, 2, 3, 8, 64));

TEST(OrderedRunTogether, ALaterItemThatIsReadyWaitsForAnEarlierOne) {
  const support::Deadline deadline("ALaterItemThatIsReadyWaitsForAnEarlierOne");
  NotedWork work;
  std::atomic<bool> laterMade = false;
  work.whenMade = [&](std::size_t item) {
    if (item == 1) {
      laterMade = true;
    }
    while (item == 0 && !laterMade) {
      std::this_thread::yield();
    }
  };
  runInOrder(work, 2, 2);
  EXPECT_EQ(work.delivered, upTo(2));
}

TEST(OrderedRunTogether, TheCallersThreadWorksToo) {
  NotedWork work;
  const auto caller = std::this_thread::get_id();
  work.whenMade = [&](std::size_t) { EXPECT_EQ(std::this_thread::get_id(), caller); };
  runInOrder(work, 10, 1);
}

TEST(OrderedLineState, AnAbandonedLineDeliversNothingMoreAndIsNoError) {
  const support::Deadline deadline("AnAbandonedLineDeliversNothingMoreAndIsNoError");
  NotedWork work;
  OrderedLine line(work, 1);
  line.offer(2);
  line.workOnce(0);
  line.abandon();
  line.workOnce(0);
  line.workUntilClosed(0);
  EXPECT_EQ(work.delivered, upTo(1));
  EXPECT_EQ(work.made, 1U);
  EXPECT_NO_THROW(line.awaitDelivered(2));
}

TEST(OrderedLineState, AWorkerWaitsForOffersUntilTheLineIsClosed) {
  const support::Deadline deadline("AWorkerWaitsForOffersUntilTheLineIsClosed");
  NotedWork work;
  OrderedLine line(work, 1);
  std::thread worker([&] { line.workUntilClosed(0); });
  for (std::size_t i = 1; i <= 20; ++i) {
    line.offer(1);
    line.awaitDelivered(i);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // it waits by now, or sees at once that it need not
  line.close();
  worker.join();
  EXPECT_EQ(work.delivered, upTo(20));
}

}  // namespace
