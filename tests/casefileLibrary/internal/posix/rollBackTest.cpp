// Which journals an append or recovery takes back, and what is left of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "../../support/damagedFiles.h"
#include "../../support/journals.h"
#include "compressedForm.h"
#include "support/compressedImage.h"
#include "support/systemProbe.h"

namespace casefile {
namespace {

using support::Image;
using TakingBack = support::JournalTest;
using testing::HasSubstr;

// A copy of a file beside the journal of the first: where the copy is as before, there is nothing to take back.
TEST_F(TakingBack, ACopyThatIsAsBeforeOnlyLosesItsJournal) {
  folder_.writePlain("copy", image_.bytes());
  leave(journalOf("file"), "copy.journal");
  EXPECT_FALSE(takesBack("copy"));
  EXPECT_FALSE(folder_.exists("copy.journal"));
  leave(journalOf("file"), "copy.journal");
  folder_.writePlain("copy", image_.bytes() + "more");
  EXPECT_THAT(wordsOf([&] { takesBack("copy"); }), HasSubstr("belongs to another file, or this one is a copy"));
  EXPECT_TRUE(folder_.exists("copy.journal"));
}

TEST_F(TakingBack, NeedsASoundJournalOfTheFileAlone) {
  leave(journalOf("file"));
  EXPECT_TRUE(takesBack());
  EXPECT_FALSE(folder_.exists("file.journal"));
  for (const std::string& nothing : {std::string(), journalOf("file", true)}) {
    leave(nothing);
    EXPECT_FALSE(takesBack());
    EXPECT_FALSE(folder_.exists("file.journal"));
  }
  struct Refusal {
    std::string bytes;
    const char* words;
  };
  const Refusal refusals[] = {{"no journal at all", "is there and no journal; nothing was changed"},
                              {damaged(journalOf("file")), "is damaged; nothing was changed"}};
  for (const Refusal& of : refusals) {
    leave(of.bytes);
    EXPECT_THAT(wordsOf([&] { takesBack(); }), HasSubstr(of.words));
    EXPECT_EQ(folder_.readWhole("file.journal"), of.bytes);
  }
  leave(journalOf("file"));
  std::filesystem::create_hard_link(file_ + ".journal", folder_.path("second name"));
  EXPECT_THAT(wordsOf([&] { takesBack(); }), HasSubstr("has another name too and is not believed"));
  std::filesystem::remove(file_ + ".journal");
  std::filesystem::create_directory(file_ + ".journal");
  EXPECT_THAT(wordsOf([&] { takesBack(); }), HasSubstr("is there and no journal; nothing was changed"));
}

// Check values are easily made: what would come out must be a sound file, and the one that the journal speaks of.
TEST_F(TakingBack, MakesNoFileThatIsUnsoundOrAnother) {
  const auto expectRefusal = [&](const std::string& journal) {
    leave(journal);
    EXPECT_THAT(wordsOf([&] { takesBack(); }), HasSubstr("would make no sound file of it; nothing was changed"));
    EXPECT_EQ(folder_.readWhole("file"), image_.bytes());
  };
  Image other = image_;
  ++other.tableHead.translateSize;
  expectRefusal(journalOf(other.bytes(), place(), identity("file")));
  other = image_;
  other.blocks[0].back() = static_cast<char>(other.blocks[0].back() ^ 1);
  expectRefusal(journalOf(other.bytes(), place(), identity("file")));
  AppendPlace farther = place();
  farther.last->translatePos += 5;
  expectRefusal(journalOf(image_.bytes(), farther, identity("file")));
}

TEST_F(TakingBack, LooksIntoNoWholeBlockWhichItDoesNotWrite) {
  Image whole = Image::of(kRow0, {support::kBlock});
  const bInfo last = whole.records[0];
  support::breakBlock(whole, 0);
  folder_.writePlain("file", whole.bytes());
  leave(journalOf(whole.bytes(), {kRow0, last}, identity("file")));
  EXPECT_TRUE(takesBack());
  EXPECT_EQ(folder_.readWhole("file"), whole.bytes());
}

TEST_F(TakingBack, IsOnTheDiskBeforeTheJournalGoes) {
  leave(journalOf("file"));
  support::SystemProbe probe;
  int synced = 0;
  probe.before("unlink", [&] { synced = probe.count("sync"); });
  EXPECT_TRUE(takesBack());
  EXPECT_EQ(synced, 1);
}

TEST_F(TakingBack, KnowsAFileWithoutBlocks) {
  const std::string bytes = Image::of(kRow0, {}).bytes();
  folder_.writePlain("file", bytes + "what an append has written");
  leave(journalOf(bytes, {kRow0, {}}, identity("file")));
  EXPECT_TRUE(takesBack());
  EXPECT_EQ(folder_.readWhole("file"), bytes);
}

TEST_F(TakingBack, IsRefusedForAnotherFileOfTheSameNumber) {
  leave(journalOf("file"));
  std::string other = image_.bytes();
  other[0] = static_cast<char>(other[0] ^ 1);
  folder_.writePlain("file", other);
  EXPECT_THAT(wordsOf([&] { takesBack(); }), HasSubstr("belongs to another file, or this one is a copy"));
  EXPECT_EQ(folder_.readWhole("file"), other);
}

/// The working file that an append leaves that was ended by force before its journal had its name.
using LeftWorkingFiles = support::JournalTest;

TEST_F(LeftWorkingFiles, GoWhenTheyAreTheBeginningOfAJournalOfTheFile) {
  const std::string whole = journalOf("file");
  folder_.writePlain("third", image_.bytes());
  struct Case {
    std::string bytes;
    bool goes;
  };
  const Case cases[] = {{"", true},    {whole.substr(0, 5), true},  {whole.substr(0, 60), true},
                        {whole, true}, {journalOf("third"), false}, {"something else", false}};
  for (const Case& of : cases) {
    leave(of.bytes, "file.journal.tmp");
    EXPECT_FALSE(takesBack());
    EXPECT_EQ(folder_.exists("file.journal.tmp"), !of.goes) << of.bytes.substr(0, 20);
  }
  leave("", "file.journal.tmp");
  std::filesystem::create_hard_link(file_ + ".journal.tmp", folder_.path("second name"));
  EXPECT_FALSE(takesBack());
  EXPECT_TRUE(folder_.exists("file.journal.tmp")) << "who knows who has written it";
}

TEST_F(LeftWorkingFiles, ThatCannotBeRemovedAreAnError) {
  leave("", "file.journal.tmp");
  support::SystemProbe probe;
  probe.failEvery("unlink", EPERM);
  const auto error = errorOf([&] { takesBack(); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code().value(), EPERM);
  EXPECT_THAT(error->what(), HasSubstr(file_ + ".journal.tmp cannot be written"));
}

}  // namespace
}  // namespace casefile
