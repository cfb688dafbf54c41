#include <Datasource/platform/threads.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>

#include "platform/callbacks.h"
#include "support/deadline.h"

using platformtest::submit;
using support::Deadline;

namespace {

/// Tells whether a scope was left.
class Left {
 public:
  explicit Left(std::atomic<int>& count) : count_(count) {}
  ~Left() { ++count_; }
  Left(const Left&) = delete;
  Left& operator=(const Left&) = delete;

 private:
  std::atomic<int>& count_;
};

}  // namespace

TEST(StopAll, DoesNothingBeforeInit) {
  const Deadline deadline("stop before init");
  sfThreadPool pool(1, 0);
  pool.stopAll();
  pool.stopAll();
}

TEST(StopAll, DoesNothingBeforeStart) {
  const Deadline deadline("stop before start");
  sfThreadPool pool(1, 0);
  pool.init();
  pool.stopAll();
}

TEST(StopAll, EndsIdleThreads) {
  const Deadline deadline("stop of idle threads");
  sfThreadPool pool(3, 0);
  pool.startAll();
  pool.stopAll();
}

TEST(StopAll, MayBeCalledAgain) {
  const Deadline deadline("stop again");
  sfThreadPool pool(1, 0);
  pool.startAll();
  pool.stopAll();
  pool.stopAll();
}

TEST(StopAll, IsDoneByTheDestructor) {
  const Deadline deadline("destruction of a running pool");
  std::atomic<int> left{0};
  sfSemaphore begun(0);
  sfSemaphore never(0);
  {
    sfThreadPool pool(1, 0);
    submit(pool, [&] {
      const Left leaving(left);
      begun.postSemaphore();
      never.waitSemaphore();
    });
    pool.startAll();
    begun.waitSemaphore();
  }
  EXPECT_EQ(left.load(), 1);
}

TEST(StopAll, LetsARunningCallbackReturn) {
  const Deadline deadline("stop beside a running callback");
  std::atomic<bool> finished{false};
  sfSemaphore begun(0);
  sfThreadPool pool(1, 0);
  submit(pool, [&] {
    begun.postSemaphore();
    for (int i = 0; i < 1000; ++i) {
      std::this_thread::yield();
    }
    finished = true;
  });
  pool.startAll();
  begun.waitSemaphore();
  pool.stopAll();
  EXPECT_TRUE(finished.load());
}

TEST(StopAll, UnwindsEveryThreadThatWaitsForACount) {
  const Deadline deadline("stop of four waiting threads");
  std::atomic<int> left{0};
  std::atomic<int> wentOn{0};
  sfSemaphore begun(0);
  sfSemaphore never(0);
  sfThreadPool pool(4, 0);
  for (int i = 0; i < 4; ++i) {
    submit(pool, [&] {
      const Left leaving(left);
      begun.postSemaphore();
      never.waitSemaphore();
      ++wentOn;
    });
  }
  pool.startAll();
  for (int i = 0; i < 4; ++i) {
    begun.waitSemaphore();
  }
  pool.stopAll();
  EXPECT_EQ(left.load(), 4);
  EXPECT_EQ(wentOn.load(), 0);
}

TEST(StopAll, ThreadThatCanStillTakeACountWorksOn) {
  const Deadline deadline("stop of a thread with counts to take");
  int taken = 0;
  bool stopSeen = false;
  sfSemaphore begun(0);
  sfSemaphore never(0);
  sfSemaphore work(5);
  sfThreadPool pool(1, 0);
  submit(pool, [&] {
    begun.postSemaphore();
    try {
      never.waitSemaphore();
    } catch (const sfWaitCancelled&) {
      stopSeen = true;  // from here on the pool is stopping
    }
    for (;;) {
      work.waitSemaphore();
      ++taken;
    }
  });
  pool.startAll();
  begun.waitSemaphore();
  pool.stopAll();
  EXPECT_TRUE(stopSeen);
  EXPECT_EQ(taken, 5);
}

TEST(StopAll, ThreadMayStillPostWhileItIsUnwound) {
  const Deadline deadline("posts of a thread that is unwound");
  sfSemaphore begun(0);
  sfSemaphore never(0);
  sfSemaphore token(0);
  sfThreadPool pool(1, 0);
  submit(pool, [&] {
    begun.postSemaphore();
    try {
      never.waitSemaphore();
    } catch (const sfWaitCancelled&) {
      token.postSemaphore();
      throw;
    }
  });
  pool.startAll();
  begun.waitSemaphore();
  pool.stopAll();
  token.waitSemaphore();
}

TEST(StopAll, DropsCallbacksThatHaveNotBegun) {
  const Deadline deadline("stop with a queue");
  std::atomic<int> begunLate{0};
  sfSemaphore begun(0);
  sfSemaphore never(0);
  sfThreadPool pool(1, 0);
  submit(pool, [&] {
    begun.postSemaphore();
    never.waitSemaphore();
  });
  submit(pool, [&] { ++begunLate; });
  pool.startAll();
  begun.waitSemaphore();
  pool.stopAll();
  sfSemaphore next(0);
  pool.startAll();
  submit(pool, [&] { next.postSemaphore(); });
  next.waitSemaphore();  // one thread takes callbacks in order: what was left would have run before
  EXPECT_EQ(begunLate.load(), 0);
}

TEST(StopAll, LeavesOtherWaitersOfTheSameSemaphoreAlone) {
  const Deadline deadline("a waiter outside the pool that stops");
  std::atomic<bool> otherHasIt{false};
  sfSemaphore begun(0);
  sfSemaphore shared(0);
  sfThreadPool stopped(1, 0);
  sfThreadPool staying(1, 0);
  sfSemaphore otherDone(0);
  submit(stopped, [&] {
    begun.postSemaphore();
    shared.waitSemaphore();
  });
  submit(staying, [&] {
    begun.postSemaphore();
    shared.waitSemaphore();
    otherHasIt = true;
    otherDone.postSemaphore();
  });
  stopped.startAll();
  staying.startAll();
  begun.waitSemaphore();
  begun.waitSemaphore();
  stopped.stopAll();
  EXPECT_FALSE(otherHasIt.load());
  shared.postSemaphore();
  otherDone.waitSemaphore();
  EXPECT_TRUE(otherHasIt.load());
}

// The stop meets the thread before, inside and behind its wait, as the scheduler likes.
TEST(StopAll, ReturnsWhereverItMeetsTheThread) {
  const Deadline deadline("thousands of starts and stops");
  for (int round = 0; round < 4000; ++round) {
    sfSemaphore request(0);
    sfSemaphore answer(0);
    int served = 0;
    sfThreadPool pool(1, 0);
    pool.init();
    pool.startAll();
    submit(pool, [&] {
      for (;;) {
        request.waitSemaphore();
        ++served;
        answer.postSemaphore();
      }
    });
    const int requests = round % 4;
    for (int i = 0; i < requests; ++i) {
      request.postSemaphore();
      answer.waitSemaphore();
    }
    pool.stopAll();
    ASSERT_EQ(served, requests) << "round " << round;
  }
}

// Counts posted just before the stop are all taken, because the thread has begun to serve.
TEST(StopAll, NoCountPostedBeforeItIsLeft) {
  const Deadline deadline("stops right behind posts");
  for (int round = 0; round < 1000; ++round) {
    sfSemaphore begun(0);
    sfSemaphore work(0);
    int taken = 0;
    sfThreadPool pool(1, 0);
    submit(pool, [&] {
      begun.postSemaphore();
      for (;;) {
        work.waitSemaphore();
        ++taken;
      }
    });
    pool.startAll();
    begun.waitSemaphore();
    for (int i = 0; i < 3; ++i) {
      work.postSemaphore();
    }
    pool.stopAll();
    ASSERT_EQ(taken, 3) << "round " << round;
  }
}

TEST(StopAllDeathTest, ProcessMayEndBesideThreadsThatWereNeverStopped) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        static sfSemaphore begun(0);
        static sfSemaphore* never = new sfSemaphore(0);
        static sfThreadPool* pool = new sfThreadPool(2, 0);
        for (int i = 0; i < 2; ++i) {
          submit(*pool, [] {
            begun.postSemaphore();
            never->waitSemaphore();
          });
        }
        pool->startAll();
        begun.waitSemaphore();
        begun.waitSemaphore();
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}
