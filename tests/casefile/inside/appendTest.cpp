#include <cerrno>
#include <filesystem>

#include "inside/programTest.h"

// Every call of an append fails in turn: the file is exactly the old or exactly the new one.

namespace {

using casefile::program::kDone;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class AppendSweep : public casefiletest::ProgramTest {
 protected:
  AppendSweep() {
    folder.writePlain("in", "head\n" + support::selfDescribing(0, 5000));
    folder.writePlain("more", support::selfDescribing(5000, 3000));
    EXPECT_EQ(pack("in", "before"), kDone) << said;
    folder.copy("before", "after");
    EXPECT_EQ(append("after", "more"), kDone) << said;
    before = folder.readWhole("before");
    after = folder.readWhole("after");
    std::filesystem::remove(folder.folder() / "after");
  }

  void begin() {
    for (const std::string& name : names()) {
      if (name.starts_with("file.case")) {
        std::filesystem::remove(folder.folder() / name);
      }
    }
    folder.copy("before", "file.case");
  }

  // What the next append to it, of nothing, makes of the file.
  std::string afterTheNextAppend() {
    folder.writePlain("nothing", "");
    EXPECT_EQ(append("file.case", "nothing"), kDone) << said;
    return folder.readWhole("file.case");
  }

  bool isOldOrNew(const std::string& bytes) const { return bytes == before || bytes == after; }

  std::string before;
  std::string after;
  support::SystemProbe probe;
};

TEST_F(AppendSweep, OneCallThatFailsLeavesTheOldFileOrTheNewOneAndOneError) {
  for (int number = 1;; ++number) {
    SCOPED_TRACE("call " + std::to_string(number) + " fails");
    begin();
    probe.failCall(number, EIO);
    const int code = append("file.case", "more");
    const bool met = probe.failuresMade() > 0;
    probe.failNone();
    const std::string told = said;
    EXPECT_EQ(probe.openDescriptors(), 0);
    EXPECT_TRUE(folder.readWhole("file.case") == (code == kDone ? after : before)) << told;
    if (code != kDone) {
      EXPECT_THAT(told, HasSubstr("casefile: " + folder.path("")));
      EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
    }
    // A journal that could not be removed goes with the next append, which loses nothing.
    EXPECT_TRUE(afterTheNextAppend() == (code == kDone ? after : before)) << told;
    EXPECT_THAT(names(), ElementsAre("before", "file.case", "in", "more", "nothing")) << told;
    if (!met) {
      EXPECT_GT(number, 20);
      break;
    }
  }
}

TEST_F(AppendSweep, CallsThatFailFromSomewhereOnLeaveWhatTheNextAppendTakesBack) {
  for (int number = 1;; ++number) {
    SCOPED_TRACE("call " + std::to_string(number) + " and all later ones fail");
    begin();
    probe.failFrom(number, EIO);
    const int code = append("file.case", "more");
    const bool met = probe.failuresMade() > 0;
    probe.failNone();
    const std::string told = said;
    EXPECT_EQ(probe.openDescriptors(), 0);
    if (code != kDone) {
      EXPECT_FALSE(told.empty());
    }
    const std::string now = afterTheNextAppend();
    EXPECT_TRUE(isOldOrNew(now)) << told;
    EXPECT_TRUE(code != kDone || now == after) << told;
    EXPECT_THAT(names(), ElementsAre("before", "file.case", "in", "more", "nothing")) << told;
    if (!met) {
      break;
    }
  }
}

TEST_F(AppendSweep, ARollBackThatFailsCanBeDoneAgain) {
  for (const bool forGood : {false, true}) {
    for (int number = 1;; ++number) {
      SCOPED_TRACE("call " + std::to_string(number) + (forGood ? " and all later ones fail" : " fails"));
      begin();
      // Nothing more succeeds from the first byte that is overwritten on, which is when the journal has its name.
      probe.before("syncFolder", [&] { probe.before("writeAt", [&] { probe.failFrom(1, EIO); }); });
      ASSERT_NE(append("file.case", "more"), kDone);
      probe.failNone();
      folder.patch("file.case", 5, "torn");
      folder.writePlain("nothing", "");
      forGood ? probe.failFrom(number, EIO) : probe.failCall(number, EIO);
      append("file.case", "nothing");
      const bool met = probe.failuresMade() > 0;
      probe.failNone();
      EXPECT_TRUE(afterTheNextAppend() == before) << said;
      if (!met) {
        break;
      }
    }
  }
}

}  // namespace
