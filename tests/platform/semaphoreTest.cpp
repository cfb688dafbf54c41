#include <Datasource/platform/threads.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "platform/callbacks.h"
#include "support/deadline.h"

using support::Deadline;

TEST(Semaphore, GivesItsInitialCountWithoutAPost) {
  const Deadline deadline("two waits on a count of two");
  sfSemaphore semaphore(2);
  semaphore.waitSemaphore();
  semaphore.waitSemaphore();
}

TEST(Semaphore, WaitReturnsAfterAPostOfAnotherThread) {
  const Deadline deadline("a wait for a post");
  sfSemaphore semaphore(0);
  int handedOver = 0;
  std::thread poster([&] {
    handedOver = 7;
    semaphore.postSemaphore();
  });
  semaphore.waitSemaphore();
  EXPECT_EQ(handedOver, 7);
  poster.join();
}

TEST(Semaphore, CopySharesTheCount) {
  const Deadline deadline("a wait on the original after a post on the copy");
  sfSemaphore original(0);
  sfSemaphore copy(original);
  copy.postSemaphore();
  original.waitSemaphore();
  original.postSemaphore();
  copy.waitSemaphore();
}

TEST(Semaphore, CopyOutlivesTheOriginal) {
  const Deadline deadline("a wait on a copy whose original is gone");
  auto original = std::make_unique<sfSemaphore>(1);
  sfSemaphore copy(*original);
  original.reset();
  copy.waitSemaphore();
  copy.postSemaphore();
  copy.waitSemaphore();
}

TEST(Semaphore, EveryPostLetsExactlyOneWaitReturn) {
  const Deadline deadline("four takers and two posters");
  constexpr int postsEach = 5000;
  sfSemaphore work(0);
  sfSemaphore taken(0);
  std::atomic<int> takes{0};
  sfThreadPool takers(4, 0);
  for (int i = 0; i < 4; ++i) {
    platformtest::submit(takers, [&] {
      for (;;) {
        work.waitSemaphore();
        ++takes;
        taken.postSemaphore();
      }
    });
  }
  takers.startAll();
  const auto post = [&] {
    for (int i = 0; i < postsEach; ++i) {
      work.postSemaphore();
    }
  };
  std::thread first(post);
  std::thread second(post);
  for (int i = 0; i < 2 * postsEach; ++i) {
    taken.waitSemaphore();
  }
  first.join();
  second.join();
  takers.stopAll();  // a count too many would have been taken before the threads end
  EXPECT_EQ(takes.load(), 2 * postsEach);
}

TEST(Semaphore, WaiterMayDestroyItAsSoonAsItHasTheCount) {
  const Deadline deadline("semaphores destroyed behind their wait");
  for (int round = 0; round < 1000; ++round) {
    auto semaphore = std::make_unique<sfSemaphore>(0);
    std::thread poster([&shared = *semaphore] { shared.postSemaphore(); });
    semaphore->waitSemaphore();
    semaphore.reset();
    poster.join();
  }
}

TEST(Mutex, OwnerMayLockItAgain) {
  const Deadline deadline("a mutex locked twice");
  sfMutex mutex;
  const sfGuard outer(mutex);
  const sfGuard inner(mutex);
  mutex.lock(LockExclusive, nullptr, 0);
  mutex.unlock(nullptr, 0);
}

TEST(Mutex, OtherThreadsWaitUntilItIsUnlockedAsOftenAsLocked) {
  const Deadline deadline("a mutex handed over");
  sfMutex mutex;
  std::atomic<bool> entered{false};
  mutex.lock(LockExclusive, "file", 1);
  mutex.lock(LockExclusive, "file", 2);
  std::thread other([&] {
    const sfGuard guard(mutex);
    entered = true;
  });
  mutex.unlock("file", 3);
  std::this_thread::yield();
  EXPECT_FALSE(entered.load());
  mutex.unlock("file", 4);
  other.join();
  EXPECT_TRUE(entered.load());
}

TEST(Mutex, OneThreadAtATimeIsInside) {
  const Deadline deadline("four threads and one mutex");
  sfMutex mutex;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 2000; ++n) {
        const sfGuard guard(mutex);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(count, 8000);
}
