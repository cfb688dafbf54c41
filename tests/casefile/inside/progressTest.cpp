#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "progress.h"

namespace {

using casefile::program::Display;
using casefile::program::Progress;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// A terminal whose clock and width the test sets.
class FakeTerminal : public Display {
 public:
  Clock::time_point now() const override { return time; }
  bool isTerminal() const override { return terminal; }
  std::size_t columns() const override { return width; }
  void show(const std::string& text) override { lines.push_back(text); }
  void leave() override { ++left; }

  Clock::time_point time;
  bool terminal = true;
  std::size_t width = 0;
  std::vector<std::string> lines;
  int left = 0;
};

class ProgressTest : public testing::Test {
 protected:
  ~ProgressTest() override { Progress::show(Progress::When::terminal); }
  FakeTerminal terminal_;
};

TEST_F(ProgressTest, OfWorkUnderHalfASecondNothingIsShown) {
  {
    Progress progress(1000, terminal_);
    for (int i = 0; i < 10; ++i) {
      progress.advance(100);
      terminal_.time += milliseconds(49);
    }
  }
  EXPECT_THAT(terminal_.lines, IsEmpty());
  EXPECT_EQ(terminal_.left, 0);
}

TEST_F(ProgressTest, AfterHalfASecondItIsShownTenTimesASecond) {
  Progress progress(100000, terminal_);
  for (int i = 1; i <= 70; ++i) {
    terminal_.time += milliseconds(10);
    progress.advance(100);
  }
  EXPECT_THAT(terminal_.lines, ElementsAre(StartsWith("5 %, 5.0 kB of 100.0 kB"), StartsWith("6 %, 6.0 kB of 100.0 kB"),
                                           StartsWith("7 %, 7.0 kB of 100.0 kB")));
}

TEST_F(ProgressTest, EndsAtAHundredPercentAndStays) {
  {
    Progress progress(3000000, terminal_);
    for (int i = 0; i < 3; ++i) {
      terminal_.time += milliseconds(499);
      progress.advance(1000000);
    }
  }
  EXPECT_EQ(terminal_.lines.back(), "100 %, 3.0 MB of 3.0 MB, 2.0 MB/s");
  EXPECT_EQ(terminal_.left, 1);
}

TEST_F(ProgressTest, IsNotAtAHundredPercentBeforeTheEnd) {
  Progress progress(1000000, terminal_);
  terminal_.time += milliseconds(1000);
  progress.advance(999999);
  EXPECT_EQ(terminal_.lines.back(), "99 %, 1000.0 kB of 1.0 MB, 1.0 MB/s, 0:00 left");
}

TEST_F(ProgressTest, OfAnInputThatGrewMeanwhileItIsAllThatIsDone) {
  Progress progress(1000, terminal_);
  terminal_.time += milliseconds(1000);
  progress.advance(2000);
  EXPECT_THAT(terminal_.lines.back(), StartsWith("100 %, 2.0 kB of 1.0 kB"));
}

TEST_F(ProgressTest, WithoutAKnownWholeTellsBytesAndRate) {
  Progress progress(-1, terminal_);
  terminal_.time += milliseconds(2000);
  progress.advance(4000000);
  EXPECT_THAT(terminal_.lines, ElementsAre("4.0 MB, 2.0 MB/s"));
}

TEST_F(ProgressTest, IsShorterThanTheLineWhateverItsWidthIsByThen) {
  Progress progress(100000000, terminal_);
  progress.advance(50000000);
  terminal_.time += milliseconds(1000);
  for (std::size_t width = 1; width < 60; ++width) {
    terminal_.width = width;
    progress.advance(0);
    EXPECT_LT(terminal_.lines.back().size(), width);
    EXPECT_THAT(terminal_.lines.back(), StartsWith(width > 4 ? "50 %" : ""));
    terminal_.time += milliseconds(100);
  }
  EXPECT_THAT(terminal_.lines.back(), StartsWith("50 %, 50.0 MB of 100.0 MB, "));
}

TEST_F(ProgressTest, IsNotShownOnWhatIsNoTerminal) {
  terminal_.terminal = false;
  {
    Progress progress(10, terminal_);
    terminal_.time += milliseconds(5000);
    progress.advance(10);
  }
  EXPECT_THAT(terminal_.lines, IsEmpty());
}

TEST_F(ProgressTest, ThatWasAskedForIsShownOfShortWorkTooAndAnywhere) {
  Progress::show(Progress::When::always);
  terminal_.terminal = false;
  { Progress(10, terminal_).advance(10); }
  EXPECT_THAT(terminal_.lines, ElementsAre(HasSubstr("100 %, 10 B of 10 B")));
}

TEST_F(ProgressTest, ThatWasRefusedIsNotShown) {
  Progress::show(Progress::When::never);
  {
    Progress progress(10, terminal_);
    terminal_.time += milliseconds(5000);
    progress.advance(10);
  }
  EXPECT_THAT(terminal_.lines, IsEmpty());
}

}  // namespace
