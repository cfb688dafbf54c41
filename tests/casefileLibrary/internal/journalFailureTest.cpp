// What is told when one call of the system fails around a journal: an error that it is, and no more than is true.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "casefile/appender.h"
#include "casefile/error.h"
#include "casefile/plainInput.h"
#include "casefile/recover.h"
#include "casefile/unfinishedAppend.h"
#include "casefile/writer.h"
#include "support/compressedBytes.h"
#include "support/systemProbe.h"
#include "support/testFolder.h"

namespace {

using casefile::Appender;
using casefile::Error;
using casefile::ErrorKind;
using casefile::Writer;
using support::SystemProbe;
using testing::HasSubstr;
using testing::Not;

class JournalFailures : public testing::Test {
 protected:
  void SetUp() override {
    Writer writer = Writer::create(path_);
    writer.writeDictionary(std::as_bytes(std::span("dictionary", 10)));
    writer.write(std::as_bytes(std::span(data_)));
    writer.finish();
    old_ = folder_.readWhole("file");
  }

  // An append of which something is written.
  Appender begun() {
    Appender appender = Appender::open(path_);
    appender.write(std::as_bytes(std::span(data_)));
    return appender;
  }

  // What an append that is killed in its middle leaves.
  void leaveHalfAnAppend() {
    std::string journal;
    {
      const Appender killed = begun();
      journal = folder_.readWhole("file.journal");
    }
    folder_.writePlain("file.journal", journal);
    std::filesystem::permissions(path_ + ".journal",
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }

  static std::optional<Error> errorOf(const std::function<void()>& work) {
    try {
      work();
    } catch (const Error& error) {
      return error;
    }
    return std::nullopt;
  }

  // What is raised while every call of that name fails.
  static std::optional<Error> errorWhile(const std::string& call, int reason, const std::function<void()>& work) {
    SystemProbe probe;
    probe.failEvery(call, reason);
    return errorOf(work);
  }

  static std::string wordsOf(const std::optional<Error>& error) { return error ? error->what() : ""; }

  static void expectReason(const std::optional<Error>& error, int reason) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), ErrorKind::system) << error->what();
    EXPECT_EQ(error->code().value(), reason) << error->what();
  }

  support::TestFolder folder_;
  const std::string path_ = folder_.path("file");
  const std::string data_ = support::caseBytes(10, 1000);
  std::string old_;
};

TEST_F(JournalFailures, AnAppendThatWasTakenBackLeavesNothingWhenOnlyItsFolderIsNotOnTheDisk) {
  Appender appender = begun();
  {
    SystemProbe probe;
    probe.failEvery("syncFolder", EIO);
    appender.cancel();
    EXPECT_EQ(probe.failuresMade(), 1);
  }
  EXPECT_FALSE(appender.leftBehind());
  EXPECT_FALSE(folder_.exists("file.journal"));
  EXPECT_EQ(folder_.readWhole("file"), old_);
}

TEST_F(JournalFailures, AJournalThatCannotBeRemovedIsNotSaidToKeepWhatTheFileHasAgain) {
  Appender appender = begun();
  {
    SystemProbe probe;
    probe.failEvery("unlink", EPERM);
    appender.cancel();
  }
  EXPECT_THAT(wordsOf(appender.leftBehind()), HasSubstr("file.journal cannot be removed; the next append does it"));
  EXPECT_EQ(folder_.readWhole("file"), old_);
  EXPECT_FALSE(Appender::open(path_).tookBack()) << "there was nothing to take back";
  EXPECT_FALSE(folder_.exists("file.journal"));
}

TEST_F(JournalFailures, AnAppendIsNotCalledDoneWhoseUnmarkedJournalMayComeBack) {
  Appender appender = begun();
  SystemProbe probe;
  probe.failEvery("truncate", EIO);
  probe.before("unlink", [&] { probe.failEvery("syncFolder", EIO); });
  const auto error = errorOf([&] { appender.finish(); });
  expectReason(error, EIO);
  EXPECT_THAT(wordsOf(error), HasSubstr("has the new data, but its journal"));
}

TEST_F(JournalFailures, AJournalThatIsRemovedIsNotSaidToStay) {
  leaveHalfAnAppend();
  const auto error = errorWhile("syncFolder", EIO, [&] { casefile::takeBackAppend(path_); });
  expectReason(error, EIO);
  EXPECT_THAT(wordsOf(error), HasSubstr("the removal of its journal"));
  EXPECT_THAT(wordsOf(error), Not(HasSubstr("cannot be removed")));
  EXPECT_FALSE(folder_.exists("file.journal"));
}

TEST_F(JournalFailures, ALinkThatCannotBeReadIsNotTakenForNone) {
  expectReason(errorWhile("readLink", EIO, [&] { casefile::unfinishedAppendOf(path_); }), EIO);
  expectReason(errorWhile("readLink", EIO, [&] { Appender::open(path_); }), EIO);
  expectReason(errorWhile("readLink", EIO, [&] { Writer::create(path_); }), EIO);
}

TEST_F(JournalFailures, ALinkThatMayNotBeReadLeadsNowhereElse) {
  EXPECT_FALSE(errorWhile("readLink", EACCES, [&] { casefile::unfinishedAppendOf(path_); }));
}

TEST_F(JournalFailures, AFolderThatCannotBeListedMayHoldTheJournalOfAnotherName) {
  std::filesystem::create_hard_link(path_, folder_.path("another"));
  const auto error = errorWhile("list", EIO, [&] { Appender::open(path_); });
  expectReason(error, EIO);
  EXPECT_THAT(wordsOf(error), HasSubstr("under another name"));
  EXPECT_FALSE(errorWhile("list", EACCES, [&] { Appender::open(path_); })) << "a folder that may not be listed";
}

TEST_F(JournalFailures, AJournalOfAnotherNameThatCannotBeLookedAtMayBeOfThisFile) {
  std::filesystem::create_hard_link(path_, folder_.path("another"));
  folder_.writePlain("another.journal", "no journal");
  for (const int reason : {EIO, EACCES}) {
    SystemProbe probe;
    probe.before("list", [&] { probe.before("statusOf", [&] { probe.failNth("statusOf", 1, reason); }); });
    const auto error = errorOf([&] { Appender::open(path_); });
    EXPECT_EQ(probe.failuresMade(), 1);
    EXPECT_EQ(error.has_value(), reason == EIO) << "somebody else's may not be looked at";
  }
}

TEST_F(JournalFailures, AnInputThatCannotBeToldFromTheOutputIsNotReplaced) {
  casefile::RecoverOptions options;
  options.replace = true;
  bool met = true;
  for (int number = 1; met; ++number) {
    SystemProbe probe;
    probe.failNth("statusOf", number, EIO);
    EXPECT_TRUE(errorOf([&] { casefile::recover(path_, path_, options); })) << number;
    met = probe.failuresMade() > 0;
  }
  EXPECT_EQ(folder_.readWhole("file"), old_);
}

TEST_F(JournalFailures, AnInputSaysWhenItCannotTellWhetherItIsAFile) {
  const casefile::PlainInput input = casefile::PlainInput::open(path_);
  for (const char* const call : {"statusOf", "status"}) {
    expectReason(errorWhile(call, EIO, [&] { input.isFile(path_); }), EIO);
  }
}

}  // namespace
