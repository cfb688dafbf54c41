#include <Datasource/fileStream.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <string>

#include "support/fileTest.h"

using datasource::platform::addExceptionCounter;
using datasource::platform::removeExceptionCounter;
using datasource::platform::uncaughtExceptions;

namespace {

// Stands for the runtime of another module.
std::atomic<int> elsewhere = 0;
int countElsewhere() noexcept { return elsewhere; }
int countTen() noexcept { return 10; }

class UncaughtExceptions : public support::FileTest {
 protected:
  UncaughtExceptions() {
    elsewhere = 0;
    addExceptionCounter(countElsewhere);
  }
  ~UncaughtExceptions() override { removeExceptionCounter(countElsewhere); }
};

struct CountsWhenDestroyed {
  int& count;
  ~CountsWhenDestroyed() { count = uncaughtExceptions(); }
};

}  // namespace

TEST_F(UncaughtExceptions, AreThoseOfThisModuleAndOfTheOthers) {
  EXPECT_EQ(uncaughtExceptions(), 0);
  elsewhere = 2;
  EXPECT_EQ(uncaughtExceptions(), 2);
  int seen = 0;
  try {
    const CountsWhenDestroyed counts{seen};
    throw 1;
  } catch (int) {
  }
  EXPECT_EQ(seen, 3);
}

TEST_F(UncaughtExceptions, ACounterThatSeveralModulesShareCountsOnceUntilTheLastIsGone) {
  elsewhere = 1;
  addExceptionCounter(countElsewhere);
  EXPECT_EQ(uncaughtExceptions(), 1);
  removeExceptionCounter(countElsewhere);
  EXPECT_EQ(uncaughtExceptions(), 1);
}

TEST_F(UncaughtExceptions, ACounterThatWasTakenBackIsNotAsked) {
  addExceptionCounter(countTen);
  EXPECT_EQ(uncaughtExceptions(), 10);
  removeExceptionCounter(countTen);
  removeExceptionCounter(countTen);
  EXPECT_EQ(uncaughtExceptions(), 0);
}

TEST_F(UncaughtExceptions, AreNotCountedBeyondTheRoomForCounters) {
  for (int i = 0; i < 1000; ++i) {
    addExceptionCounter(countElsewhere);
  }
  addExceptionCounter(countTen);
  EXPECT_EQ(uncaughtExceptions(), 0);
  for (int i = 0; i < 1000; ++i) {
    removeExceptionCounter(countElsewhere);
  }
  addExceptionCounter(countElsewhere);
}

TEST_F(UncaughtExceptions, OfAnotherModuleMakeAFailingDestructorReportInsteadOfRaise) {
  const std::string path = folder.writePlain("f", "abc");
  {
    VORN_FileStream readOnly(path.c_str(), "rb");
    readOnly.Write("x", 1);
    elsewhere = 1;
  }
  const auto errors = lost.take();
  ASSERT_EQ(errors.size(), 1U);
  EXPECT_EQ(errors[0].error, (support::Raised{1002, EBADF}));
}
