#include <Datasource/platform/threads.h>
#include <Datasource/platform/throwError.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/callbacks.h"
#include "support/deadline.h"
#include "threadSeam.h"

using platformtest::FunctionCallback;
using platformtest::submit;
using support::Deadline;

namespace {

std::mutex lostMutex;
std::vector<std::string> lostTexts;

void noteLost(const char* where, const std::exception_ptr& error) {
  const std::lock_guard lock(lostMutex);
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& known) {
    lostTexts.push_back(std::string(where) + ": " + known.what());
  } catch (...) {
    lostTexts.push_back(std::string(where) + ": unknown");
  }
}

/// Notes lost errors for one test.
class LostErrors {
 public:
  LostErrors() : before_(datasource::platform::setLostErrorHandler(noteLost)) { lostTexts.clear(); }
  ~LostErrors() { datasource::platform::setLostErrorHandler(before_); }
  LostErrors(const LostErrors&) = delete;
  LostErrors& operator=(const LostErrors&) = delete;

  static std::vector<std::string> texts() {
    const std::lock_guard lock(lostMutex);
    return lostTexts;
  }

 private:
  datasource::platform::LostErrorHandler before_;
};

std::atomic<int> startsLeft{0};

/// Gives the threads before it some time to begin what they must not begin, then refuses.
bool startsAreLeft() {
  if (startsLeft.fetch_sub(1) > 0) {
    return true;
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  return false;
}

/// Lets only the first `count` threads start.
class StartsLimitedTo {
 public:
  explicit StartsLimitedTo(int count) {
    startsLeft = count;
    datasource::platform::setThreadStartHook(startsAreLeft);
  }
  ~StartsLimitedTo() { datasource::platform::setThreadStartHook(nullptr); }
  StartsLimitedTo(const StartsLimitedTo&) = delete;
  StartsLimitedTo& operator=(const StartsLimitedTo&) = delete;
};

/// Starts the pool, lets a last callback run on one of its threads, and stops it.
void runAllOf(sfThreadPoolBase& pool) {
  sfSemaphore done(0);
  submit(pool, [&] { done.postSemaphore(); });
  pool.startAll();
  done.waitSemaphore();
  pool.stopAll();
}

}  // namespace

TEST(CallBackObject, CarriesItsTwoPointers) {
  int message = 0;
  int data = 0;
  FunctionCallback callback([](void*) {});
  EXPECT_EQ(callback.getMsgData(), nullptr);
  EXPECT_EQ(callback.getCallbackData(), nullptr);
  callback.setMsgData(&message);
  callback.setCallbackData(&data);
  EXPECT_EQ(callback.getMsgData(), &message);
  EXPECT_EQ(callback.getCallbackData(), &data);
}

TEST(ThreadPool, RunsACallbackWithItsDataOnAnotherThread) {
  const Deadline deadline("one callback");
  int given = 0;
  void* received = nullptr;
  std::thread::id ranOn;
  sfSemaphore done(0);
  sfThreadPool pool(1, 0);
  pool.init();
  pool.startAll();
  pool.submit(new FunctionCallback([&](void* data) {
                received = data;
                ranOn = std::this_thread::get_id();
                done.postSemaphore();
              }),
              &given, 1);
  done.waitSemaphore();
  pool.stopAll();
  EXPECT_EQ(received, &given);
  EXPECT_NE(ranOn, std::this_thread::get_id());
}

TEST(ThreadPool, RunsAsManyCallbacksAtOnceAsItHasThreads) {
  const Deadline deadline("three callbacks that wait for each other");
  sfSemaphore arrived(0);
  sfSemaphore leave(0);
  sfSemaphore left(0);
  sfThreadPool pool(3, 0);
  pool.startAll();
  for (int i = 0; i < 3; ++i) {
    submit(pool, [&] {
      arrived.postSemaphore();
      leave.waitSemaphore();
      left.postSemaphore();
    });
  }
  for (int i = 0; i < 3; ++i) {
    arrived.waitSemaphore();  // all three are inside now
  }
  for (int i = 0; i < 3; ++i) {
    leave.postSemaphore();
  }
  for (int i = 0; i < 3; ++i) {
    left.waitSemaphore();
  }
}

TEST(ThreadPool, RunsCallbacksInTheOrderOfTheirSubmission) {
  const Deadline deadline("ten callbacks");
  std::vector<int> order;
  sfThreadPool pool(1, 0);
  for (int i = 0; i < 10; ++i) {
    submit(pool, [&order, i] { order.push_back(i); });
  }
  runAllOf(pool);
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(ThreadPool, FreesEveryCallbackOnceHoweverItCame) {
  const Deadline deadline("callbacks of all kinds");
  {
    sfThreadPool pool(1, 0);
    auto* const twice = new FunctionCallback([](void*) {});
    pool.adopt(twice);
    pool.adopt(twice);
    pool.submit(twice, nullptr, 1);
    pool.submit(twice, nullptr, 1);
    pool.adopt(new FunctionCallback([](void*) {}));
    submit(pool, [] {});
    EXPECT_EQ(FunctionCallback::alive.load(), 3);
    runAllOf(pool);
    EXPECT_EQ(FunctionCallback::alive.load(), 4);  // not before the pool itself goes
  }
  EXPECT_EQ(FunctionCallback::alive.load(), 0);
}

TEST(ThreadPool, FreesWhatItOwnsWhenItWasNeverStarted) {
  {
    sfThreadPool pool(1, 0);
    pool.init();
    pool.adopt(new FunctionCallback([](void*) {}));
    submit(pool, [] {});
  }
  EXPECT_EQ(FunctionCallback::alive.load(), 0);
}

TEST(ThreadPool, CallbackIsRunAsOftenAsItWasSubmitted) {
  const Deadline deadline("one callback, three times");
  int runs = 0;
  sfThreadPool pool(1, 0);
  auto* const callback = new FunctionCallback([&](void*) { ++runs; });
  for (int i = 0; i < 3; ++i) {
    pool.submit(callback, nullptr, 1);
  }
  runAllOf(pool);
  EXPECT_EQ(runs, 3);
}

TEST(ThreadPool, MayStartAgainAfterAStop) {
  const Deadline deadline("a pool started three times");
  int runs = 0;
  sfThreadPool pool(2, 0);
  for (int i = 0; i < 3; ++i) {
    submit(pool, [&] { ++runs; });
    sfSemaphore done(0);
    pool.startAll();
    submit(pool, [&] { done.postSemaphore(); });
    done.waitSemaphore();
    pool.stopAll();
  }
  EXPECT_EQ(runs, 3);
}

TEST(ThreadPool, StartThatFindsNoThreadRaisesAndBeginsNothing) {
  const Deadline deadline("starts that fail");
  for (int available = 0; available < 3; ++available) {
    std::atomic<int> runs{0};
    sfThreadPool pool(3, 0);
    submit(pool, [&] { ++runs; });
    {
      const StartsLimitedTo limit(available);
      EXPECT_THROW(pool.startAll(), std::system_error) << available;
    }
    EXPECT_EQ(runs.load(), 0) << available;
    runAllOf(pool);  // it is as before the attempt
    EXPECT_EQ(runs.load(), 1) << available;
  }
}

TEST(ThreadPool, ExceptionOfACallbackBecomesALostErrorAndTheThreadServesOn) {
  const Deadline deadline("callbacks that throw");
  const LostErrors lost;
  sfThreadPool pool(1, 0);
  submit(pool, [] { throw std::runtime_error("broken"); });
  submit(pool, [] { throw 5; });
  runAllOf(pool);
  EXPECT_EQ(LostErrors::texts(),
            (std::vector<std::string>{"a callback of sfThreadPool: broken", "a callback of sfThreadPool: unknown"}));
}

TEST(ThreadPool, CancelledWaitIsNoLostError) {
  const Deadline deadline("a cancelled wait");
  const LostErrors lost;
  sfSemaphore begun(0);
  sfSemaphore never(0);
  sfThreadPool pool(1, 0);
  submit(pool, [&] {
    begun.postSemaphore();
    never.waitSemaphore();
  });
  pool.startAll();
  begun.waitSemaphore();
  pool.stopAll();
  EXPECT_TRUE(LostErrors::texts().empty());
}
