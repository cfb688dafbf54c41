// The scheduler of the harness `schedules` finds what it is made for: each test seeds an error that one schedule in
// many shows, and finds nothing where there is none.

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "orderedLine.h"
#include "scheduler/exploration.h"
#include "scheduler/scheduler.h"
#include "scheduler/turnPrimitives.h"

namespace proof {
namespace {

using Lock = std::unique_lock<TurnMutex>;

// What is wrong with the first wrong schedule of all that have at most so many preemptions; empty: nothing.
std::string explore(unsigned preemptions, const std::function<std::string()>& act, Disturbances disturbances = {}) {
  Scheduler scheduler;
  ScheduleCounts counts;
  return exploreBelow(scheduler, {"play", preemptions, disturbances, act}, {}, counts);
}

bool tells(const std::string& found, const std::string& text) { return found.find(text) != std::string::npos; }

enum class Seeded { nothing, forgetsToNotify, doesNotLookAgain, letsGoTooEarly };

// A place for one number, with an error of the usual kinds.
class Box {
 public:
  explicit Box(Seeded seeded) : seeded_(seeded) {}

  void put(int number) {
    {
      const Lock lock(mutex_);
      number_ = number;
      full_ = true;
    }
    if (seeded_ != Seeded::forgetsToNotify) {
      filled_.notify_all();
    }
  }
  int take() {
    Lock lock(mutex_);
    if (seeded_ == Seeded::doesNotLookAgain) {
      if (!full_) {
        filled_.wait(lock);
      }
    } else {
      filled_.wait(lock, [this] { return full_; });
    }
    if (seeded_ == Seeded::letsGoTooEarly) {
      lock.unlock();
      lock.lock();
    }
    full_ = false;
    const int taken = number_;
    number_ = 0;
    return taken;
  }

 private:
  const Seeded seeded_;
  TurnMutex mutex_;
  TurnCondition filled_;
  bool full_ = false;
  int number_ = 0;
};

// One number, one taker: nothing can go wrong but the box.
std::string useBoxOnce(Seeded seeded) {
  Box box(seeded);
  int taken = 0;
  TurnThread taker([&] { taken = box.take(); });
  box.put(1);
  taker.join();
  return taken == 1 ? "" : "nothing was taken";
}

// Two takers and two numbers, the second put when the first is gone.
std::string useBoxTwice(Seeded seeded) {
  Box box(seeded);
  Box gone(Seeded::nothing);
  bool nothing = false;
  const auto take = [&] {
    nothing = nothing || box.take() == 0;
    gone.put(1);
  };
  TurnThread one(take);
  TurnThread other(take);
  box.put(1);
  gone.take();
  box.put(2);
  one.join();
  other.join();
  return nothing ? "nothing was taken" : "";
}

// Two threads that take two mutexes in the opposite order.
std::string crossLocks() {
  TurnMutex left;
  TurnMutex right;
  TurnThread other([&] {
    const Lock first(right);
    const Lock second(left);
  });
  {
    const Lock first(left);
    const Lock second(right);
  }
  other.join();
  return "";
}

class NoWork : public casefile::pipeline::OrderedWork {
 public:
  void make(std::size_t /*item*/, std::size_t /*worker*/) override { turnPoint(); }
  void deliver(std::size_t /*item*/, std::size_t /*worker*/) override {}
};

// Two workers deliver three items, which are offered while they work.
std::string runLine() {
  NoWork work;
  casefile::pipeline::OrderedLine line(work, 2);
  TurnThread one([&] { line.workUntilClosed(0); });
  TurnThread other([&] { line.workUntilClosed(1); });
  line.offer(1);
  line.offer(2);
  line.awaitDelivered(2);
  line.close();
  one.join();
  other.join();
  return "";
}

TEST(Scheduler, FindsNothingInWhatIsRight) {
  EXPECT_EQ(explore(3, [] { return useBoxOnce(Seeded::nothing); }), "");
  EXPECT_EQ(explore(2, [] { return useBoxOnce(Seeded::nothing); }, {0, 0, true}), "");
  EXPECT_EQ(explore(1, [] { return useBoxTwice(Seeded::nothing); }), "");
  EXPECT_EQ(explore(1, runLine), "");
}

TEST(Scheduler, FindsANotificationThatIsForgotten) {
  EXPECT_EQ(explore(0, [] { return useBoxOnce(Seeded::forgetsToNotify); }), "") << "nothing waits yet";
  EXPECT_TRUE(tells(explore(1, [] { return useBoxOnce(Seeded::forgetsToNotify); }), "all threads wait"));
}

TEST(Scheduler, FindsAWaitThatDoesNotLookAgain) {
  EXPECT_TRUE(tells(explore(1, [] { return useBoxTwice(Seeded::doesNotLookAgain); }), "nothing was taken"));
  EXPECT_EQ(explore(2, [] { return useBoxOnce(Seeded::doesNotLookAgain); }), "");
  EXPECT_TRUE(
      tells(explore(2, [] { return useBoxOnce(Seeded::doesNotLookAgain); }, {0, 0, true}), "nothing was taken"));
}

TEST(Scheduler, FindsALockThatIsLetGoTooEarly) {
  EXPECT_TRUE(tells(explore(1, [] { return useBoxTwice(Seeded::letsGoTooEarly); }), "nothing was taken"));
}

TEST(Scheduler, FindsLocksInTheOppositeOrder) {
  EXPECT_EQ(explore(0, crossLocks), "");
  EXPECT_TRUE(tells(explore(1, crossLocks), "thread 0 for a mutex, thread 1 for a mutex"));
}

TEST(Scheduler, FindsWhatIsUsedWhenItIsGone) {
  const auto act = [] {
    auto mutex = std::make_unique<TurnMutex>();
    TurnMutex* const gone = mutex.get();
    TurnThread other([&] { mutex.reset(); });
    gone->lock();
    gone->unlock();
    other.join();
    return std::string();
  };
  EXPECT_EQ(explore(0, act), "");
  EXPECT_NE(explore(1, act), "");
}

TEST(Scheduler, FindsAThreadThatIsLeft) {
  const auto act = [] {
    static TurnThread* left = nullptr;  // its destructor would end the program
    left = new TurnThread([] {});
    return left != nullptr ? std::string() : "no thread";
  };
  EXPECT_TRUE(tells(explore(0, act), "a thread is left"));
}

// The library's own line, each of whose notifications is left out in turn.
TEST(Scheduler, FindsEachNotificationThatTheLineNeeds) {
  std::set<unsigned> needed;
  for (unsigned notice = 1; notice <= 9; ++notice) {
    const std::string found = explore(1, runLine, {0, notice, false});
    EXPECT_TRUE(found.empty() || tells(found, "all threads wait")) << found;
    if (!found.empty()) {
      needed.insert(notice);
    }
  }
  EXPECT_GE(needed.size(), 4U);
}

// Two threads that each take their turn three times. Returns: whose turn it was, in order.
class Turns {
 public:
  std::string act() {
    order_.clear();
    TurnMutex mutex;
    const auto note = [&](char who) {
      for (int i = 0; i < 3; ++i) {
        const Lock lock(mutex);
        order_ += who;
      }
    };
    TurnThread other([&] { note('b'); });
    note('a');
    other.join();
    return "";
  }
  const std::string& order() const { return order_; }

 private:
  std::string order_;
};

std::size_t ordersWith(unsigned preemptions) {
  Turns turns;
  std::set<std::string> orders;
  EXPECT_EQ(explore(preemptions,
                    [&] {
                      turns.act();
                      orders.insert(turns.order());
                      return std::string();
                    }),
            "");
  return orders.size();
}

TEST(Scheduler, GoesThroughAllOrdersThatSoManyPreemptionsBringAbout) {
  EXPECT_EQ(ordersWith(0), 1U);   // aaabbb
  EXPECT_EQ(ordersWith(1), 4U);   // bbbaaa, abbbaa, aabbba too
  EXPECT_EQ(ordersWith(2), 10U);  // those in which b is interrupted too
  EXPECT_EQ(ordersWith(5), 20U);  // all there are
}

TEST(Scheduler, TheSameChoicesGiveTheSameRun) {
  Scheduler scheduler;
  Turns turns;
  const auto act = [&] { return turns.act(); };
  const ScheduleResult first = scheduler.run(act, {0, 1, 0, 1}, {});
  const std::string order = turns.order();
  const ScheduleResult second = scheduler.run(act, choicesOf(first), {});
  EXPECT_EQ(turns.order(), order);
  EXPECT_EQ(choicesOf(second), choicesOf(first));
}

}  // namespace
}  // namespace proof
