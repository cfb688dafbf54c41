// The journal of an append of this process: when it is on the disk, and what is told where it stays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "../../support/journals.h"
#include "journal/journal.h"
#include "support/systemProbe.h"

namespace casefile {
namespace {

using support::SystemProbe;
using testing::ElementsAre;
using testing::HasSubstr;

class Journals : public support::JournalTest {
 protected:
  Journals() : lock_(file_) { lock_.lockForWriting(); }

  void begin() {
    journal_.emplace(lock_, file_, place(), [] {});
  }
  void overwrite() { lock_.writing().writeAt("appended", 8, place().last->translatePos); }
  bool isAsBefore() const { return folder_.readWhole("file") == image_.bytes(); }
  /// The calls that write, and those that wait for the disk.
  static std::vector<std::string> writing(const SystemProbe& probe) {
    std::vector<std::string> found;
    for (const std::string& call : probe.calls()) {
      if (call == "writeAt" || call == "sync" || call == "syncFolder" || call == "truncate") {
        found.push_back(call);
      }
    }
    return found;
  }

  FileLock lock_;
  std::optional<Journal> journal_;
};

TEST_F(Journals, AreOnTheDiskStepByStep) {
  SystemProbe probe;
  begin();
  EXPECT_THAT(writing(probe), ElementsAre("writeAt", "sync", "writeAt", "writeAt", "sync", "syncFolder"));
  EXPECT_EQ(probe.count("setOwner"), 0) << "the file is this user's own";
  probe.clear();
  EXPECT_FALSE(journal_->finish());
  EXPECT_THAT(writing(probe), ElementsAre("truncate", "sync", "syncFolder"));
}

TEST_F(Journals, TakeTheAppendBackWithTheObject) {
  begin();
  overwrite();
  EXPECT_FALSE(isAsBefore());
  journal_.reset();
  EXPECT_TRUE(isAsBefore());
  EXPECT_FALSE(folder_.exists("file.journal"));
}

TEST_F(Journals, ThatHaveFinishedTakeNothingBack) {
  begin();
  overwrite();
  EXPECT_FALSE(journal_->finish());
  EXPECT_FALSE(journal_->rollBack());
  journal_.reset();
  EXPECT_FALSE(isAsBefore());
}

TEST_F(Journals, StayWhenTheAppendCannotBeTakenBackAndSayWhy) {
  begin();
  overwrite();
  {
    SystemProbe probe;
    probe.failEvery("writeAt", ENOSPC);
    const auto error = journal_->rollBack();
    ASSERT_TRUE(error);
    EXPECT_THAT(error->what(), HasSubstr("could not be taken back (No space left on device)"));
  }
  journal_.reset();
  EXPECT_TRUE(folder_.exists("file.journal"));
}

TEST_F(Journals, ThatWereCutMeanwhileSaySo) {
  begin();
  overwrite();
  std::filesystem::resize_file(folder_.path("file.journal"), 120);
  const auto error = journal_->rollBack();
  ASSERT_TRUE(error);
  EXPECT_THAT(error->what(), HasSubstr("has been cut"));
  EXPECT_THAT(error->what(), HasSubstr("keeps the old bytes"));
}

TEST_F(Journals, ThatCannotBeRemovedAreEmptyAndStay) {
  begin();
  {
    SystemProbe probe;
    probe.failNth("unlink", 1, EPERM);
    const auto error = journal_->finish();
    ASSERT_TRUE(error);
    EXPECT_THAT(error->what(), HasSubstr("cannot be removed; the next append does it"));
  }
  journal_.reset();
  EXPECT_EQ(folder_.readWhole("file.journal"), "");
}

TEST_F(Journals, ThatCanNeitherBeEmptiedNorRemovedAreAnErrorOfFinishing) {
  begin();
  SystemProbe probe;
  probe.failEvery("truncate", EIO);
  probe.before("unlink", [&] { probe.failNth("unlink", 1, EPERM); });
  EXPECT_THAT(wordsOf([&] { journal_->finish(); }), HasSubstr("cannot be removed and must be"));
}

TEST_F(Journals, ThatMayComeBackWithTheOldBytesAreAnErrorOfFinishing) {
  begin();
  SystemProbe probe;
  probe.failEvery("truncate", EIO);
  probe.before("unlink", [&] { probe.failEvery("syncFolder", EIO); });
  EXPECT_THAT(wordsOf([&] { journal_->finish(); }), HasSubstr("may be there again after a failure of the machine"));
}

TEST_F(Journals, OfAnotherUsersFileAreThatUsers) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "only root may give a file away";
  }
  constexpr std::uint32_t kUser = 12345;
  ASSERT_EQ(::chown(file_.c_str(), kUser, kUser), 0);
  begin();
  const files::FileStatus status = *files::statusOf(folder_.path("file.journal"));
  EXPECT_EQ(status.owner, kUser);
  EXPECT_EQ(status.group, kUser);
}

TEST_F(Journals, AreNotWrittenWhereSomethingElseHasTheirWorkingName) {
  leave("something else", "file.journal.tmp");
  const auto begin = [&] { const Journal journal(lock_, file_, place(), [] {}); };
  EXPECT_THAT(wordsOf(begin), HasSubstr("is there and not casefile's: remove or rename it"));
  std::filesystem::create_hard_link(file_ + ".journal.tmp", folder_.path("second name"));
  EXPECT_THAT(wordsOf(begin), HasSubstr("has another name too: have it removed if no append is at work"));
}

TEST_F(Journals, AreNoneOfAFileThatIsCutMeanwhile) {
  bool cut = false;
  const auto cutIt = [&] { cut = true; };
  std::filesystem::resize_file(file_, 50);
  EXPECT_THAT(wordsOf([&] { const Journal journal(lock_, file_, place(), cutIt); }),
              HasSubstr("has been cut meanwhile"));
  EXPECT_FALSE(cut) << "not even its head could be told";
  EXPECT_FALSE(folder_.exists("file.journal"));
  EXPECT_FALSE(folder_.exists("file.journal.tmp"));
}

}  // namespace
}  // namespace casefile
