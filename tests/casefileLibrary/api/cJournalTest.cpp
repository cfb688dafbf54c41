#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "../support/cFiles.h"
#include "casefile/appender.h"
#include "casefile/c.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using support::Image;
using testing::EndsWith;
using testing::HasSubstr;

constexpr int64 kRow0 = 100;

// A file in the middle of an append, and the copy of its journal that a kill would leave.
class CJournal : public testing::Test {
 protected:
  void SetUp() override {
    folder_.writePlain("file", before_);
    std::optional<casefile::Appender> appender(casefile::Appender::open(name_));
    const std::string more = support::caseBytes(kRow0 + 300, 2 * support::kBlock);
    appender->write(std::as_bytes(std::span(more)));
    folder_.copy("file.journal", "kept");
    appender.reset();
  }

  void leaveJournal() {
    using std::filesystem::perms;
    folder_.copy("kept", "file.journal");
    std::filesystem::permissions(name_ + ".journal", perms::owner_read | perms::owner_write);
  }

  casefile_unfinished_append found() {
    casefile_unfinished_append result{};
    EXPECT_EQ(casefile_find_unfinished_append(name_.c_str(), &result, sizeof result, &error_), CASEFILE_OK)
        << error_.message;
    return result;
  }

  support::Deadline deadline_{"CJournal"};
  support::TestFolder folder_;
  const std::string before_ = Image::of(kRow0, {300}).bytes();
  const std::string name_ = folder_.path("file");
  casefile_error error_{};
};

TEST_F(CJournal, TellsWhetherAnAppendIsOpen) {
  EXPECT_EQ(found().found, CASEFILE_JOURNAL_NONE);
  EXPECT_EQ(found().is_open, 0);
  EXPECT_STREQ(found().what, "");
  leaveJournal();
  EXPECT_EQ(found().found, CASEFILE_JOURNAL_UNFINISHED);
  EXPECT_EQ(found().is_open, 1);
  EXPECT_THAT(found().journal, EndsWith("file.journal"));
  EXPECT_THAT(found().what, HasSubstr("append"));
}

TEST_F(CJournal, AReaderTellsOfAnAppendThatIsOpen) {
  leaveJournal();
  casefile_reader* reader = nullptr;
  ASSERT_EQ(casefile_reader_open(name_.c_str(), nullptr, &reader, &error_), CASEFILE_OK) << error_.message;
  const support::Held<casefile_reader> held(reader);
  casefile_reader_info info{};
  ASSERT_EQ(casefile_reader_get_info(reader, &info, sizeof info, &error_), CASEFILE_OK);
  EXPECT_EQ(info.unfinished, 1);
}

TEST_F(CJournal, AVerificationTellsThatItJudgesTheFileBeforeTheAppend) {
  leaveJournal();
  folder_.writePlain("file", before_.substr(0, before_.size() - 40) + "what the append wrote over it");
  casefile_verification* verification = nullptr;
  ASSERT_EQ(casefile_verify(name_.c_str(), nullptr, &verification, &error_), CASEFILE_OK) << error_.message;
  const support::Held<casefile_verification> held(verification);
  casefile_verification_info info{};
  ASSERT_EQ(casefile_verification_get_info(verification, &info, sizeof info, &error_), CASEFILE_OK);
  EXPECT_EQ(info.as_before_append, 1);
  EXPECT_EQ(info.sound, 1);
}

TEST_F(CJournal, TakesAnAppendBackOnce) {
  leaveJournal();
  folder_.writePlain("file", before_.substr(0, before_.size() - 40) + "what the append wrote over it");
  int32_t took_back = -1;
  EXPECT_EQ(casefile_take_back_append(name_.c_str(), &took_back, &error_), CASEFILE_OK) << error_.message;
  EXPECT_EQ(took_back, 1);
  EXPECT_EQ(folder_.readWhole("file"), before_);
  EXPECT_FALSE(std::filesystem::exists(name_ + ".journal"));
  EXPECT_EQ(casefile_take_back_append(name_.c_str(), &took_back, nullptr), CASEFILE_OK);
  EXPECT_EQ(took_back, 0);
  EXPECT_EQ(casefile_take_back_append(name_.c_str(), nullptr, nullptr), CASEFILE_OK);
}

TEST_F(CJournal, AnAppenderTellsThatItTookOneBack) {
  leaveJournal();
  for (const int expected : {1, 0}) {
    casefile_appender* appender = nullptr;
    ASSERT_EQ(casefile_appender_open(name_.c_str(), nullptr, &appender, &error_), CASEFILE_OK) << error_.message;
    casefile_appender_info info{};
    EXPECT_EQ(casefile_appender_get_info(appender, &info, sizeof info, &error_), CASEFILE_OK);
    EXPECT_EQ(info.took_back, expected);
    casefile_appender_free(appender);
  }
}

TEST_F(CJournal, RemovesThatOfAFileThatWasReplaced) {
  leaveJournal();
  folder_.writePlain("new", before_ + "dead bytes");
  std::filesystem::remove(name_);
  std::filesystem::rename(folder_.path("new"), name_);
  casefile_journal_of_replaced removed{};
  EXPECT_EQ(casefile_remove_journal_of_replaced(name_.c_str(), &removed, sizeof removed, &error_), CASEFILE_OK)
      << error_.message;
  EXPECT_EQ(removed.found, CASEFILE_REPLACED_UNFINISHED);
  EXPECT_THAT(removed.journal, EndsWith("file.journal"));
  EXPECT_STRNE(removed.what, "");
  EXPECT_FALSE(std::filesystem::exists(name_ + ".journal"));
  EXPECT_EQ(casefile_remove_journal_of_replaced(name_.c_str(), &removed, sizeof removed, &error_), CASEFILE_OK);
  EXPECT_EQ(removed.found, CASEFILE_REPLACED_NONE);
}

TEST_F(CJournal, WrongUseIsAStatus) {
  casefile_unfinished_append found{};
  casefile_journal_of_replaced removed{};
  EXPECT_EQ(casefile_find_unfinished_append(nullptr, &found, sizeof found, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_find_unfinished_append(name_.c_str(), nullptr, 0, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_take_back_append(nullptr, nullptr, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_take_back_append(folder_.path("missing").c_str(), nullptr, &error_), CASEFILE_SYSTEM);
  EXPECT_EQ(casefile_remove_journal_of_replaced(nullptr, &removed, sizeof removed, &error_), CASEFILE_USAGE);
  EXPECT_EQ(casefile_remove_journal_of_replaced(name_.c_str(), nullptr, 0, &error_), CASEFILE_USAGE);
}

}  // namespace
