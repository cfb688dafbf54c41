#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "../support/sources.h"
#include "casefile/appender.h"
#include "casefile/error.h"
#include "casefile/reader.h"
#include "casefile/unfinishedAppend.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using casefile::Appender;
using casefile::ErrorKind;
using casefile::JournalFound;
using casefile::removeJournalOfReplaced;
using casefile::ReplacedJournal;
using casefile::takeBackAppend;
using casefile::unfinishedAppendOf;
using support::errorOf;
using support::Image;
using support::kBlock;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int64 kRow0 = 100;

std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

// A file in the middle of an append, and the copy of its journal that a kill would leave.
class UnfinishedAppendTest : public testing::Test {
 protected:
  UnfinishedAppendTest() {
    folder_.writePlain("file", before_);
    appender_.emplace(Appender::open(name_));
    appender_->write(bytesOf(support::caseBytes(kRow0 + 300, 3 * kBlock)));
    folder_.copy("file.journal", "kept");
  }

  // What a kill leaves: the append's overwritten file, and the journal.
  void kill() {
    appender_.reset();
    const int64 lastBlock = Image::of(kRow0, {300}).records[0].translatePos;
    folder_.writePlain("file", before_.substr(0, static_cast<std::size_t>(lastBlock)) + std::string(5000, 'x'));
    leaveJournal();
  }

  void leaveJournal() {
    folder_.copy("kept", "file.journal");
    std::filesystem::permissions(name_ + ".journal",
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }

  void replaceFile() {
    folder_.writePlain("new", before_ + "dead bytes");
    std::filesystem::remove(name_);
    std::filesystem::rename(folder_.path("new"), name_);
  }

  bool hasJournal() const { return std::filesystem::exists(name_ + ".journal"); }

  support::Deadline deadline_{"UnfinishedAppendTest"};
  support::TestFolder folder_;
  const std::string before_ = Image::of(kRow0, {300}).bytes();
  const std::string name_ = folder_.path("file");
  std::optional<Appender> appender_;
};

TEST_F(UnfinishedAppendTest, IsTakenBackOnce) {
  kill();
  EXPECT_TRUE(takeBackAppend(name_));
  EXPECT_EQ(folder_.readWhole("file"), before_);
  EXPECT_FALSE(hasJournal());
  EXPECT_FALSE(takeBackAppend(name_));
  EXPECT_EQ(folder_.readWhole("file"), before_);
}

TEST_F(UnfinishedAppendTest, ThatIsAtWorkIsNotTakenBack) {
  EXPECT_EQ(errorOf([&] { takeBackAppend(name_); }).kind(), ErrorKind::busy);
  appender_->finish();
  EXPECT_EQ(casefile::Reader::open(name_).size(), kRow0 + 300 + static_cast<int64>(3 * kBlock));
}

TEST_F(UnfinishedAppendTest, IsNotTakenBackByADamagedJournal) {
  kill();
  folder_.patchByte("file.journal", 40, 0x7F);
  const std::string torn = folder_.readWhole("file");
  EXPECT_EQ(errorOf([&] { takeBackAppend(name_); }).kind(), ErrorKind::damaged);
  EXPECT_EQ(folder_.readWhole("file"), torn);
  EXPECT_TRUE(hasJournal());
}

TEST_F(UnfinishedAppendTest, OfWhatIsNoFileIsAnError) {
  EXPECT_EQ(errorOf([&] { takeBackAppend(folder_.path("missing")); }).kind(), ErrorKind::system);
  EXPECT_EQ(errorOf([] { takeBackAppend(""); }).kind(), ErrorKind::usage);
}

TEST_F(UnfinishedAppendTest, SaysWhatItIsInWords) {
  kill();
  EXPECT_THAT(unfinishedAppendOf(name_).what, HasSubstr("an append has not finished (" + name_ + ".journal is there)"));
  replaceFile();
  EXPECT_EQ(unfinishedAppendOf(name_).found, JournalFound::ofAnother);
  EXPECT_THAT(unfinishedAppendOf(name_).what, HasSubstr("belongs to another file"));
  std::filesystem::remove(name_ + ".journal");
  EXPECT_THAT(unfinishedAppendOf(name_).what, IsEmpty());
}

TEST_F(UnfinishedAppendTest, OfAReplacedFileLosesItsJournal) {
  kill();
  replaceFile();
  const auto told = removeJournalOfReplaced(name_);
  EXPECT_EQ(told.found, ReplacedJournal::unfinished);
  EXPECT_EQ(told.journal, name_ + ".journal");
  EXPECT_THAT(told.what, HasSubstr("its journal " + name_ + ".journal is removed"));
  EXPECT_FALSE(hasJournal());
  EXPECT_EQ(removeJournalOfReplaced(name_).found, ReplacedJournal::none);
  EXPECT_EQ(folder_.readWhole("file"), before_ + "dead bytes");
}

TEST_F(UnfinishedAppendTest, KeepsTheJournalOfAFileThatWasNotReplaced) {
  kill();
  const auto told = removeJournalOfReplaced(name_);
  EXPECT_EQ(told.found, ReplacedJournal::none);
  EXPECT_THAT(told.what, IsEmpty());
  EXPECT_TRUE(takeBackAppend(name_));
}

TEST_F(UnfinishedAppendTest, OfAReplacedFileKeepsADamagedJournal) {
  kill();
  replaceFile();
  folder_.patchByte("file.journal", 40, 0x7F);
  const auto told = removeJournalOfReplaced(name_);
  EXPECT_EQ(told.found, ReplacedJournal::damaged);
  EXPECT_THAT(told.what, HasSubstr("is a damaged journal"));
  EXPECT_TRUE(hasJournal());
}

}  // namespace
