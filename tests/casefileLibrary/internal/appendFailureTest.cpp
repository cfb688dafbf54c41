// What the system refuses, interrupts or cuts short during an append and while one is taken back: every call in turn.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "../support/systemFaults.h"
#include "casefile/appender.h"
#include "casefile/error.h"
#include "casefile/recover.h"
#include "casefile/unfinishedAppend.h"
#include "casefile/verify.h"
#include "casefile/writer.h"
#include "support/compressedBytes.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using casefile::Appender;
using casefile::AppenderOptions;
using casefile::Writer;
using testing::ElementsAre;

constexpr int64 kRow0 = 10;
constexpr std::size_t kBefore = 1000;
constexpr std::size_t kAdded = support::kBlock;

class AppendFailures : public support::SystemFaultTest {
 protected:
  void SetUp() override {
    Writer writer = Writer::create(path_);
    writer.writeDictionary(std::as_bytes(std::span("dictionary", kRow0)));
    const std::string before = support::caseBytes(kRow0, kBefore);
    writer.write(std::as_bytes(std::span(before)));
    writer.finish();
    old_ = folder_.readWhole("file");
    keepHalfAnAppend();
    append();
    new_ = folder_.readWhole("file");
  }

  Appender open() {
    AppenderOptions options;
    options.threads = threads();
    return Appender::open(path_, options);
  }

  void append() {
    Appender appender = open();
    appender.write(std::as_bytes(std::span(data_)));
    appender.finish();
    leftBehind_ = appender.leftBehind().has_value();
  }

  // What an append that is killed in its middle leaves.
  void keepHalfAnAppend() {
    Appender killed = open();
    killed.write(std::as_bytes(std::span(data_)));
    half_ = folder_.readWhole("file");
    journal_ = folder_.readWhole("file.journal");
  }

  void putHalfAnAppend() {
    using std::filesystem::perms;
    folder_.writePlain("file", half_);
    folder_.writePlain("file.journal", journal_);
    std::filesystem::permissions(path_ + ".journal", perms::owner_read | perms::owner_write);
  }

  void sweepOverFile(const std::function<void()>& prepare, const std::function<void()>& scenario, const Check& check) {
    sweep(
        prepare, scenario, [&](const std::string& file) { return file == path_ || file == path_ + ".journal"; }, check);
  }

  void expectOldAfterTheNextOpening() {
    EXPECT_NO_THROW(open());
    EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), old_));
    EXPECT_THAT(names(), ElementsAre("file"));
  }

  // What could neither remove the journal nor mark it as finished cannot know what the next one finds.
  void expectOldOrNewAfterTheNextOpening() {
    EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), new_));
    EXPECT_NO_THROW(open());
    const std::string now = folder_.readWhole("file");
    EXPECT_TRUE(now == old_ || now == new_);
    EXPECT_THAT(names(), ElementsAre("file"));
  }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.folder())) {
      found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  support::Deadline deadline_{"AppendFailures"};
  support::TestFolder folder_;
  const std::string path_ = folder_.path("file");
  const std::string data_ = support::caseBytes(kRow0 + static_cast<int64>(kBefore), kAdded);
  std::string old_;
  std::string new_;
  std::string half_;
  std::string journal_;
  bool leftBehind_ = false;
};

TEST_P(AppendFailures, LeaveTheOldFileOrTheNewOneAndTheNewOneWhenSuccessWasTold) {
  sweepOverFile([&] { folder_.writePlain("file", old_); }, [&] { append(); },
                [&](const auto& error) {
                  if (!error) {
                    EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), new_));
                    EXPECT_TRUE(leftBehind_ || names() == std::vector<std::string>{"file"});
                    EXPECT_NO_THROW(open());
                    EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), new_)) << "taken back";
                    EXPECT_THAT(names(), ElementsAre("file"));
                    return;
                  }
                  if (!fault().forEver) {
                    EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), old_));
                    EXPECT_THAT(names(), ElementsAre("file"));
                  }
                  if (std::string(error->what()).find("has the new data") == std::string::npos) {
                    expectOldAfterTheNextOpening();
                  } else {
                    expectOldOrNewAfterTheNextOpening();
                  }
                });
}

TEST_P(AppendFailures, WhileOneIsTakenBackLeaveItToTheNext) {
  sweepOverFile([&] { putHalfAnAppend(); }, [&] { EXPECT_TRUE(open().tookBack()); },
                [&](const auto& error) {
                  if (!error) {
                    EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), old_));
                    EXPECT_THAT(names(), ElementsAre("file"));
                  }
                  expectOldAfterTheNextOpening();
                });
}

TEST_P(AppendFailures, WhileOneIsTakenBackAndNothingElseLeaveItToTheNext) {
  sweepOverFile([&] { putHalfAnAppend(); }, [&] { EXPECT_TRUE(casefile::takeBackAppend(path_)); },
                [&](const auto& error) {
                  EXPECT_TRUE(error || folder_.readWhole("file") == old_);
                  expectOldAfterTheNextOpening();
                });
}

// A file that has taken the name of the one in whose middle an append was killed. That one stays, so that no other file
// gets its number.
TEST_P(AppendFailures, WhileTheJournalOfAReplacedFileIsRemovedTouchNeitherFile) {
  std::filesystem::rename(path_, folder_.path("replaced"));
  casefile::JournalOfReplaced told;
  sweepOverFile(
      [&] {
        putHalfAnAppend();
        folder_.writePlain("another", new_);
        std::filesystem::rename(folder_.path("another"), path_);
        told = {};
      },
      [&] { told = casefile::removeJournalOfReplaced(path_); },
      [&](const auto& error) {
        EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), new_));
        EXPECT_EQ(told.found, error ? casefile::ReplacedJournal::none : casefile::ReplacedJournal::unfinished);
        EXPECT_TRUE(error || names() == (std::vector<std::string>{"file", "replaced"}));
        std::filesystem::remove(path_ + ".journal");
      });
}

TEST_P(AppendFailures, WhileAFileIsJudgedWhoseAppendIsUnfinishedGiveNoOtherJudgement) {
  putHalfAnAppend();
  casefile::VerifyOptions options;
  options.threads = threads();
  casefile::Verification told;
  sweepOverFile([&] { told = {}; }, [&] { told = casefile::verify(path_, options); },
                [&](const auto& error) {
                  EXPECT_TRUE(error || (told.asBeforeAppend && told.sound() && told.blocks == 1));
                  EXPECT_TRUE(error || told.unfinishedAppend.isOpen());
                });
}

TEST_P(AppendFailures, WhileAFileIsRescuedWhoseAppendIsUnfinishedGiveItAsItWasOrNothing) {
  putHalfAnAppend();
  casefile::RecoverOptions options;
  options.threads = threads();
  const std::string output = folder_.path("output");
  casefile::recover(path_, output, options);
  const std::string complete = folder_.readWhole("output");
  sweep([&] { std::filesystem::remove(output); }, [&] { casefile::recover(path_, output, options); },
        [&](const std::string& file) { return file == path_ || file == path_ + ".journal" || file == output; },
        [&](const auto& error) {
          EXPECT_TRUE(error || folder_.exists("output"));
          EXPECT_TRUE(!folder_.exists("output") || folder_.readWhole("output") == complete);
        });
}

CASEFILE_WITH_SYSTEM_FAULTS(AppendFailures);

}  // namespace
