#include <gtest/gtest.h>
#include <sched.h>

#include "processors.h"

namespace {

TEST(Affinity, LimitsTheProcessorsOfAProcess) {
  cpu_set_t before;
  ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
  int first = 0;
  while (!CPU_ISSET(first, &before)) {
    ++first;
  }
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(first, &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  EXPECT_EQ(datasource::platform::usableProcessors(), 1U);
  EXPECT_EQ(sched_setaffinity(0, sizeof before, &before), 0);
}

}  // namespace
