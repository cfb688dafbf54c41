#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "casefile/appender.h"
#include "casefile/error.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"
#include "support/testFolder.h"

// A file with two names: an append that was ended by force lies beside one of them, and the other one is appended to.

namespace {

using casefile::Appender;
using casefile::Error;
using casefile::ErrorKind;
using support::Image;

class TwoNames : public testing::Test {
 protected:
  TwoNames() {
    folder_.writePlain("file", before_);
    std::filesystem::create_hard_link(folder_.path("file"), folder_.path("other"));
    std::optional<Appender> appender(Appender::open(folder_.path("file")));
    const std::string more = support::caseBytes(kRow0 + 300, 2 * support::kBlock);
    appender->write(std::as_bytes(std::span(more)));
    folder_.copy("file.journal", "kept");
    appender.reset();
  }
  /// What a kill would leave, under a name.
  void leaveJournal(const std::string& name) {
    using std::filesystem::perms;
    folder_.copy("kept", name);
    std::filesystem::permissions(folder_.path(name), perms::owner_read | perms::owner_write);
  }
  /// Returns: what an append to the other name says; nothing when it may begin.
  std::optional<Error> appendToOther() const {
    try {
      Appender::open(folder_.path("other"));
    } catch (const Error& error) {
      return error;
    }
    return std::nullopt;
  }

  static constexpr int64 kRow0 = 100;
  support::Deadline deadline_{"TwoNames"};
  support::TestFolder folder_;
  const std::string before_ = Image::of(kRow0, {300}).bytes();
};

TEST_F(TwoNames, AnUnfinishedAppendToOneKeepsAppendsFromTheOther) {
  leaveJournal("file.journal");
  const auto error = appendToOther();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->kind(), ErrorKind::busy);
  EXPECT_THAT(error->what(), testing::HasSubstr("(" + folder_.path("file.journal") + " is there)"));
  EXPECT_EQ(folder_.readWhole("file"), before_);
  Appender::open(folder_.path("file"));  // takes it back
  EXPECT_FALSE(appendToOther());
}

TEST_F(TwoNames, AJournalOfNoSuchNameOrOfAnotherFileKeepsNobody) {
  leaveJournal("file.journal.copy");
  EXPECT_FALSE(appendToOther());
  folder_.writePlain("third", before_ + "dead");
  std::filesystem::remove(folder_.path("file"));
  std::filesystem::rename(folder_.path("third"), folder_.path("file"));
  std::filesystem::create_hard_link(folder_.path("file"), folder_.path("fourth"));
  leaveJournal("fourth.journal");  // of the file that is `other` alone now
  EXPECT_FALSE(appendToOther());
  std::filesystem::create_hard_link(folder_.path("other"), folder_.path("fifth"));
  EXPECT_TRUE(appendToOther()) << "the journal tells whose it is, not its name";
  folder_.writePlain("fourth.journal", "not a journal");
  EXPECT_FALSE(appendToOther());
}

TEST_F(TwoNames, WhatCannotBeReadIsSomebodyElses) {
  std::filesystem::create_directory(folder_.path("file.journal"));
  EXPECT_FALSE(appendToOther());
}

}  // namespace
