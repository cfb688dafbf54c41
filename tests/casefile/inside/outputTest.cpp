#include <cerrno>
#include <filesystem>

#include "inside/programTest.h"

// What becomes of an output when a call fails, or when somebody else acts between two calls.

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class OutputTest : public casefiletest::ProgramTest {
 protected:
  OutputTest() { folder.writePlain("in", "head\nrow\n"); }
  support::SystemProbe probe;
};

TEST_F(OutputTest, IsOnTheDiskBeforeItHasItsNameAndTheNameBehindIt) {
  for (const bool force : {false, true}) {
    probe.clear();
    ASSERT_EQ(pack("in", "out", force), casefile::program::kDone) << said;
    const auto calls = probe.calls();
    const auto place = [&](const char* call) { return std::find(calls.begin(), calls.end(), call) - calls.begin(); };
    EXPECT_LT(place("sync"), place(force ? "rename" : "renameToFree"));
    EXPECT_LT(place(force ? "rename" : "renameToFree"), place("syncFolder"));
    EXPECT_LT(place("syncFolder"), std::ssize(calls));
    EXPECT_EQ(probe.openDescriptors(), 0);
  }
}

TEST_F(OutputTest, ThatCannotBeSyncedIsNotMade) {
  probe.failEvery("sync", EIO);
  EXPECT_EQ(pack("in", "out"), casefile::program::kFailed);
  EXPECT_THAT(said, AllOf(HasSubstr("out: cannot be given its name"), HasSubstr("Input/output error")));
  EXPECT_THAT(names(), ElementsAre("in"));
}

TEST_F(OutputTest, WhoseWorkingNameStaysIsAnError) {
  probe.failEvery("renameToFree", ENOTSUP);
  probe.before("link", [&] { probe.failEvery("unlink", EPERM); });
  EXPECT_EQ(pack("in", "out"), casefile::program::kFailed);
  EXPECT_THAT(said, AllOf(HasSubstr("out: is complete, but its working name"), HasSubstr(workingName())));
  EXPECT_EQ(names().size(), 3U);
}

// Once each call fails, once it and all later ones: the old file or the new one, and nothing besides.
TEST_F(OutputTest, IsTheOldFileOrTheNewOneWhateverFails) {
  ASSERT_EQ(pack("in", "new"), casefile::program::kDone);
  const std::string whole = folder.readWhole("new");
  std::filesystem::remove(folder.folder() / "new");
  for (const bool forGood : {false, true}) {
    for (int number = 1;; ++number) {
      SCOPED_TRACE("call " + std::to_string(number) + (forGood ? " and all later ones fail" : " fails"));
      folder.writePlain("out", "old");
      forGood ? probe.failFrom(number, EIO) : probe.failCall(number, EIO);
      const int code = pack("in", "out", true);
      const bool met = probe.failuresMade() > 0;
      probe.failNone();
      const std::string now = folder.readWhole("out");
      EXPECT_TRUE(now == whole || (code != casefile::program::kDone && now == "old")) << code << said;
      const bool isWarned = said.find("is complete; what has the name of its journal") != std::string::npos;
      EXPECT_EQ(code == casefile::program::kDone, said.empty() || isWarned) << said;
      EXPECT_TRUE(!isWarned || now == whole);
      EXPECT_EQ(probe.openDescriptors(), 0);
      if (!forGood) {
        EXPECT_THAT(names(), ElementsAre("in", "out")) << said;
      } else if (const std::string left = workingName(); !left.empty()) {
        EXPECT_THAT(said, HasSubstr(left));
        std::filesystem::remove(folder.folder() / left);
      }
      if (!met) {
        EXPECT_GT(number, 10);
        break;
      }
    }
  }
}

TEST_F(OutputTest, ThatARescueCannotRemoveIsNamedWhateverFailed) {
  ASSERT_EQ(pack("in", "packed"), casefile::program::kDone);
  for (int number = 1;; ++number) {
    SCOPED_TRACE("call " + std::to_string(number) + " and all later ones fail");
    probe.failFrom(number, EIO);
    const int code = recover("packed", "out");
    const bool met = probe.failuresMade() > 0;
    probe.failNone();
    const bool isMade = std::filesystem::exists(folder.folder() / "out");
    EXPECT_TRUE(isMade || code != casefile::program::kDone);
    if (const std::string left = workingName(); !left.empty()) {
      EXPECT_THAT(said, HasSubstr(left));
      std::filesystem::remove(folder.folder() / left);
    }
    std::filesystem::remove(folder.folder() / "out");
    EXPECT_THAT(names(), ElementsAre("in", "packed"));
    if (!met) {
      EXPECT_GT(number, 10);
      break;
    }
  }
}

}  // namespace
