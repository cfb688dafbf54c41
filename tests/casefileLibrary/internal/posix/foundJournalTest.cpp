// What has a journal's name, what it counts for, and the file in front of its append.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "../../support/journals.h"
#include "casefile/error.h"
#include "casefile/randomAccessFile.h"
#include "casefile/unfinishedAppend.h"
#include "journal/beforeAppend.h"
#include "journal/foundJournal.h"
#include "journal/unfinishedAppend.h"
#include "support/systemProbe.h"

namespace casefile {
namespace {

using FoundJournals = support::JournalTest;
using support::SystemProbe;
using testing::HasSubstr;

TEST_F(FoundJournals, AreWhatTheirBytesSay) {
  struct Case {
    std::string bytes;
    JournalState state;
    bool unfinished, damaged, empty;
  };
  const std::string whole = journalOf("file");
  const Case cases[] = {{"", JournalState::foreign, false, false, true},
                        {"no journal at all", JournalState::foreign, false, false, false},
                        {damaged(whole), JournalState::damaged, false, true, false},
                        {whole, JournalState::sound, true, false, false},
                        {journalOf("file", true), JournalState::sound, false, false, false}};
  EXPECT_FALSE(findJournal(file_).exists);
  EXPECT_FALSE(findJournal(file_).handle);
  for (const Case& of : cases) {
    leave(of.bytes);
    const FoundJournal found = findJournal(file_);
    EXPECT_EQ(found.name, file_ + ".journal");
    EXPECT_TRUE(found.exists);
    EXPECT_TRUE(found.counts());
    EXPECT_EQ(found.state, of.state);
    EXPECT_EQ(found.isUnfinished(), of.unfinished);
    EXPECT_EQ(found.isDamaged(), of.damaged);
    EXPECT_EQ(found.isEmpty(), of.empty);
  }
}

TEST_F(FoundJournals, CountForNothingWhenDistrustedOrUnread) {
  leave(journalOf("file"));
  for (const JournalState state : {JournalState::foreign, JournalState::damaged, JournalState::sound}) {
    FoundJournal unread;
    unread.state = state;
    FoundJournal distrusted;
    distrusted.state = state;
    distrusted.distrust = "has another name too";
    folder_.writePlain("empty", "");
    distrusted.handle.emplace(files::SystemFile::open(folder_.path("empty"), files::kOpenRead));
    for (const FoundJournal* const found : {&unread, &distrusted}) {
      EXPECT_FALSE(found->counts());
      EXPECT_FALSE(found->isUnfinished());
      EXPECT_FALSE(found->isDamaged());
    }
    EXPECT_FALSE(distrusted.isEmpty());
  }
}

TEST_F(FoundJournals, ThatAreDistrustedAreNotOpened) {
  leave(journalOf("file"));
  std::filesystem::create_hard_link(file_ + ".journal", folder_.path("second name"));
  SystemProbe probe;
  const FoundJournal found = findJournal(file_);
  EXPECT_TRUE(found.exists);
  EXPECT_EQ(found.distrust, "has another name too");
  EXPECT_FALSE(found.handle);
  EXPECT_EQ(probe.count("open"), 0);
}

// Whoever may write to the folder gives the name to another file between the look at it and opening it.
TEST_F(FoundJournals, ThatAreExchangedMeanwhileAreNotRead) {
  leave(journalOf("file"));
  leave(journalOf("file"), "planted");
  std::filesystem::create_hard_link(folder_.path("planted"), folder_.path("second name"));
  SystemProbe probe;
  probe.before("open", [&] { std::filesystem::rename(folder_.path("planted"), file_ + ".journal"); });
  const FoundJournal found = findJournal(file_);
  EXPECT_EQ(found.distrust, "has another name too");
  EXPECT_EQ(found.state, JournalState::foreign);
}

TEST_F(FoundJournals, OfAFolderOrOutOfSightAreNone) {
  std::filesystem::create_directory(file_ + ".journal");
  const FoundJournal folder = findJournal(file_);
  EXPECT_TRUE(folder.exists);
  EXPECT_EQ(folder.distrust, "") << "only of a file is it asked who may have written it";
  EXPECT_FALSE(folder.handle);
  SystemProbe probe;
  for (const int reason : {EACCES, ENOTDIR, EIO}) {
    probe.failEvery("statusOf", reason);
    EXPECT_EQ(errorOf([&] { EXPECT_FALSE(findJournal(file_).exists); }).has_value(), reason == EIO);
  }
}

TEST_F(FoundJournals, OfAFileWithoutADataFileAreOfNoOther) {
  leave(journalOf("file"));
  FoundJournal found = findJournal(file_);
  EXPECT_FALSE(isOfAnother(found, file_));
  EXPECT_FALSE(isOfAnother(found, folder_.path("missing")));
  folder_.writePlain("other", "other bytes");
  EXPECT_TRUE(isOfAnother(found, folder_.path("other")));
}

TEST_F(FoundJournals, OfAnotherFileUnderAnotherNameHinderNoAppend) {
  std::filesystem::create_hard_link(file_, folder_.path("second"));
  folder_.writePlain("third", image_.bytes());
  const files::FileStatus data = *files::statusOf(file_);
  const auto refused = [&] { return wordsOf([&] { refuseJournalOfAnotherName(data, file_); }); };
  leave(journalOf("third"), "second.journal");
  EXPECT_EQ(refused(), "");
  leave(journalOf("file", true), "second.journal");
  EXPECT_EQ(refused(), "");
  leave(damaged(journalOf("file")), "second.journal");
  EXPECT_EQ(refused(), "");
  leave(journalOf("file"), "second.journal");
  EXPECT_THAT(refused(), HasSubstr("an append to it under another name has not finished"));
  leave("", "second.journal");
  SystemProbe probe;
  probe.failEvery("open", EACCES);
  EXPECT_EQ(refused(), "") << "what may not be read is somebody else's";
}

/// The file as it was in front of an unfinished append.
using FilesBefore = support::JournalTest;

TEST_F(FilesBefore, AreThoseOfASoundJournalOfTheFile) {
  const auto open = [&] { return wordsOf([&] { openBeforeAppend(casefile::openFile(file_)); }); };
  EXPECT_THAT(open(), HasSubstr("has gone: the append has ended meanwhile"));
  leave(damaged(journalOf("file")));
  EXPECT_THAT(open(), HasSubstr("is damaged; nothing was changed"));
  leave("no journal at all");
  EXPECT_THAT(open(), HasSubstr("is damaged; nothing was changed"));
  leave(journalOf("file"));
  EXPECT_EQ(open(), "");
  std::string other = image_.bytes();
  other[0] = static_cast<char>(other[0] ^ 1);
  folder_.writePlain("file", other);
  EXPECT_THAT(open(), HasSubstr("belongs to another file; nothing was changed"));
  std::filesystem::create_hard_link(file_ + ".journal", folder_.path("second name"));
  EXPECT_THAT(open(), HasSubstr("has gone: the append has ended meanwhile"));
}

TEST_F(FilesBefore, AreNotSaidToHaveNoJournalWhereNobodyMayLook) {
  SystemProbe probe;
  probe.failEvery("statusOf", EACCES);
  const auto error = errorOf([&] { openBeforeAppend(casefile::openFile(file_)); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->kind(), ErrorKind::system);
  EXPECT_EQ(error->code().value(), EACCES);
  EXPECT_THAT(error->what(), HasSubstr("its journal " + file_ + ".journal cannot be read"));
}

TEST_F(FoundJournals, AreToldByWhatTheyMeanForTheFile) {
  const std::string own = journalOf("file");
  folder_.writePlain("copy", image_.bytes());
  folder_.writePlain("changed", image_.bytes() + "more");
  const auto found = [&](const std::string& journal, const std::string& name = "file") {
    leave(journal, name + ".journal");
    return unfinishedAppendOf(folder_.path(name)).found;
  };
  EXPECT_EQ(found(own), JournalFound::unfinished);
  EXPECT_EQ(found(damaged(own)), JournalFound::damaged);
  EXPECT_EQ(found(journalOf("file", true)), JournalFound::none);
  EXPECT_EQ(found("no journal at all"), JournalFound::none);
  EXPECT_EQ(found(own, "copy"), JournalFound::none) << "it is as it was before";
  EXPECT_EQ(found(own, "changed"), JournalFound::ofAnother);
  EXPECT_FALSE(openAsAppendFinds(folder_.path("changed")).asBefore);
  std::filesystem::create_hard_link(file_ + ".journal", folder_.path("second name"));
  const UnfinishedAppend distrusted = unfinishedAppendOf(file_);
  EXPECT_EQ(distrusted.found, JournalFound::notBelieved);
  EXPECT_EQ(distrusted.why, "has another name too");
  EXPECT_THAT(distrusted.what, HasSubstr("has the name of its journal, has another name too and is not believed"));
}

TEST_F(FoundJournals, OfAReplacedFileGoWhenTheyAreOfIt) {
  folder_.writePlain("replaced", image_.bytes());
  struct Case {
    std::string bytes;
    ReplacedJournal found;
    bool stays;
  };
  const Case cases[] = {{journalOf("replaced"), ReplacedJournal::unfinished, false},
                        {journalOf("replaced", true), ReplacedJournal::finished, false},
                        {damaged(journalOf("replaced")), ReplacedJournal::damaged, true},
                        {journalOf("file"), ReplacedJournal::none, true},
                        {"no journal at all", ReplacedJournal::none, true}};
  for (const Case& of : cases) {
    leave(of.bytes);
    EXPECT_EQ(removeJournalOfReplaced(file_).found, of.found);
    EXPECT_EQ(folder_.exists("file.journal"), of.stays);
  }
}

TEST_F(FilesBefore, AreJudgedWhereTheJournalIsOfTheFile) {
  const auto sizeJudged = [&](bool asBefore) {
    const JudgedFile judged = openAsAppendFinds(file_);
    EXPECT_EQ(judged.asBefore, asBefore);
    return judged.bytes->size();
  };
  const std::string appended = image_.bytes() + "more";
  const auto length = static_cast<int64>(appended.size());
  leave(journalOf("file"));
  folder_.writePlain("file", appended);
  EXPECT_EQ(sizeJudged(true), length - 4);
  SystemProbe probe;
  probe.before("open", [&] {
    probe.before("open", [&] { probe.before("open", [&] { std::filesystem::remove(file_ + ".journal"); }); });
  });
  EXPECT_EQ(sizeJudged(false), length) << "the append has ended between two looks at its journal";
  EXPECT_EQ(sizeJudged(false), length);
  folder_.writePlain("file", image_.bytes());
  leave(journalOf("file"));
  std::string other = appended;
  other[0] = static_cast<char>(other[0] ^ 1);
  folder_.writePlain("file", other);
  EXPECT_EQ(sizeJudged(false), length) << "what no append touches is another file's";
  probe.before("open",
               [&] { probe.before("open", [&] { probe.before("open", [&] { probe.failEvery("open", EIO); }); }); });
  EXPECT_EQ(errorOf([&] { openAsAppendFinds(file_); })->kind(), ErrorKind::system);
}

/// A file whose only byte that is not zero, as far as it tells, lies at one position.
class NearlyAHole : public RandomAccessFile {
 public:
  explicit NearlyAHole(std::int64_t data) : data_(data) {}
  std::string name() const override { return "hole"; }
  std::int64_t size() const override { return 1'000'000; }
  std::size_t readAt(std::span<std::byte>, std::int64_t) const override { return 0; }
  std::int64_t nextData(std::int64_t position) const override {
    return position <= data_ ? data_ : std::max(position, size());
  }

 private:
  std::int64_t data_;
};

TEST(FileBefore, HasTheHolesOfFileAndJournalButNoneInTheHeading) {
  JournalFacts facts;
  facts.row0 = 1000;
  facts.tailStart = 5000;
  facts.oldLength = 9000;
  const auto file = std::make_shared<NearlyAHole>(6000);  // behind the tail's start, where it is the append's
  const BeforeAppend before(file, std::make_shared<NearlyAHole>(kJournalTailAt + 2000), facts);
  const std::pair<int64, int64> cases[] = {{0, 1000},    {999, 1000},  {1000, 1000}, {1001, 1001},
                                           {1023, 1023}, {1024, 7000}, {4999, 7000}, {5000, 7000},
                                           {7000, 7000}, {7001, 9000}, {8999, 9000}};
  for (const auto& [from, to] : cases) {
    EXPECT_EQ(before.nextData(from), to) << from;
  }
  const BeforeAppend other(file, std::make_shared<NearlyAHole>(kJournalTailAt), facts);
  EXPECT_EQ(other.nextData(1024), 5000);
  EXPECT_EQ(other.nextData(5001), 9000);
}

}  // namespace
}  // namespace casefile
