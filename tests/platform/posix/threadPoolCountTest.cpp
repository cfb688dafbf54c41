#include <Datasource/platform/threads.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "support/deadline.h"
#include "threadSeam.h"

namespace {

std::ptrdiff_t threads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
}

int asked = 0;
bool onlyTwo() { return ++asked <= 2; }

}  // namespace

TEST(ThreadPool, StartThatFindsNoThreadLeavesNone) {
  const support::Deadline deadline("a start that fails");
  sfThreadPool pool(4, 0);
  const std::ptrdiff_t before = threads();
  asked = 0;
  datasource::platform::setThreadStartHook(onlyTwo);
  EXPECT_THROW(pool.startAll(), std::system_error);
  datasource::platform::setThreadStartHook(nullptr);
  EXPECT_EQ(asked, 3);  // two threads did run
  while (threads() > before) {
    // A joined thread's entry may outlive it for a moment; one that stays meets the deadline.
  }
  EXPECT_EQ(threads(), before);
}
