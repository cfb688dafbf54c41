#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "support/systemProbe.h"
#include "support/testFolder.h"
#include "systemFile.h"

// What the seam's files promise on every platform.

namespace {

using namespace datasource::platform;
using support::SystemProbe;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

int errorOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().category(), std::generic_category());
    return error.code().value();
  }
  return 0;
}

class SystemFileTest : public ::testing::Test {
 protected:
  support::TestFolder folder;
};

TEST_F(SystemFileTest, ANewFileIsForReadingAndWritingAndItsNameMustBeFree) {
  const std::string name = folder.path("new");
  SystemFile file = SystemFile::open(name, kOpenRead | kOpenWrite | kOpenNew);
  file.write("0123456789", 10);
  file.seek(3);
  std::array<char, 20> bytes{};
  EXPECT_EQ(file.read(bytes.data(), bytes.size()), 7U);
  EXPECT_EQ(std::string(bytes.data()), "3456789");
  EXPECT_EQ(file.size(), 10);
  EXPECT_EQ(errorOf([&] { SystemFile::open(name, kOpenRead | kOpenWrite | kOpenNew); }), EEXIST);
}

TEST_F(SystemFileTest, AFolderIsNoFileToOpen) {
  EXPECT_EQ(errorOf([&] { SystemFile::open(folder.path("."), kOpenRead); }), EISDIR);
}

TEST_F(SystemFileTest, NothingIsOpenedWhereNothingHasTheName) {
  EXPECT_EQ(errorOf([&] { SystemFile::open(folder.path("none"), kOpenRead); }), ENOENT);
  EXPECT_FALSE(SystemFile::openRegular(folder.path("none"), kOpenRead));
  EXPECT_FALSE(statusOf(folder.path("none")));
}

TEST_F(SystemFileTest, TransfersAtAPositionDoNotDisturbEachOther) {
  const std::string name = folder.writeDescribing("data", 1 << 20);
  const SystemFile file = SystemFile::open(name, kOpenRead);
  std::vector<std::thread> threads;
  std::array<bool, 4> right{};
  for (std::size_t thread = 0; thread < right.size(); ++thread) {
    threads.emplace_back([&, thread] {
      bool all = true;
      for (int64 at = static_cast<int64>(thread) * 8; at < (1 << 20); at += 8000) {
        std::string bytes(64, '?');
        bytes.resize(file.readAt(bytes.data(), bytes.size(), at));
        all = all && bytes == support::selfDescribing(at, bytes.size()) && !bytes.empty();
      }
      right[thread] = all;
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(right, ElementsAre(true, true, true, true));
}

TEST_F(SystemFileTest, AReadAtAPositionIsShortOnlyAtTheEnd) {
  const SystemFile file = SystemFile::open(folder.writePlain("data", "0123456789"), kOpenRead);
  std::array<char, 20> bytes{};
  EXPECT_EQ(file.readAt(bytes.data(), 4, 0), 4U);
  EXPECT_EQ(file.readAt(bytes.data(), 20, 6), 4U);
  EXPECT_EQ(file.readAt(bytes.data(), 20, 10), 0U);
  EXPECT_EQ(file.readAt(bytes.data(), 20, 99), 0U);
}

TEST_F(SystemFileTest, AWriteAtAPositionLeavesTheRest) {
  SystemFile file = SystemFile::open(folder.writePlain("data", "0123456789"), kOpenRead | kOpenWrite);
  file.writeAt("ab", 2, 4);
  file.writeAt("!", 1, 11);
  file.sync();
  file.close();
  EXPECT_EQ(folder.readWhole("data"), std::string("0123ab6789\0!", 12));
}

TEST_F(SystemFileTest, TruncatesToALength) {
  SystemFile file = SystemFile::open(folder.writePlain("data", "0123456789"), kOpenRead | kOpenWrite);
  file.truncate(4);
  EXPECT_EQ(file.size(), 4);
}

TEST_F(SystemFileTest, AFileKeepsItsIdentityUnderEveryName) {
  const std::string name = folder.writePlain("data", "x");
  const FileIdentity before = SystemFile::open(name, kOpenRead).identity();
  rename(name, folder.path("other"));
  EXPECT_EQ(statusOf(folder.path("other"))->identity, before);
  EXPECT_NE(statusOf(folder.writePlain("data", "x"))->identity, before);
}

TEST_F(SystemFileTest, AStatusTellsKindSizeNamesAndTime) {
  const std::string name = folder.writePlain("data", "0123456789");
  SystemFile file = SystemFile::open(name, kOpenRead | kOpenWrite);
  constexpr int64 kTime = 1'234'567'890'123'456'700;
  file.setTimes(kTime, kTime);
  const FileStatus status = file.status();
  EXPECT_EQ(status.kind, FileKind::regular);
  EXPECT_EQ(status.size, 10);
  EXPECT_EQ(status.names, 1U);
  EXPECT_EQ(status.modified, kTime);
  EXPECT_EQ(statusOf(folder.path("."))->kind, FileKind::folder);
}

TEST_F(SystemFileTest, ARenameReplacesAndARenameToAFreeNameDoesNot) {
  const std::string one = folder.writePlain("one", "1");
  const std::string two = folder.writePlain("two", "2");
  EXPECT_EQ(errorOf([&] { renameToFree(one, two); }), EEXIST);
  EXPECT_EQ(folder.readWhole("two"), "2");
  rename(one, two);
  EXPECT_EQ(folder.readWhole("two"), "1");
  EXPECT_TRUE(renameToFree(two, one));
  EXPECT_FALSE(folder.exists("two"));
}

TEST_F(SystemFileTest, WithoutAStepOfItsOwnARenameToAFreeNameGoesByASecondName) {
  const std::string one = folder.writePlain("one", "1");
  const std::string taken = folder.writePlain("taken", "2");
  SystemProbe probe;
  probe.failEvery("renameToFree", ENOTSUP);
  EXPECT_EQ(errorOf([&] { renameToFree(one, taken); }), EEXIST);
  EXPECT_TRUE(renameToFree(one, folder.path("three")));
  EXPECT_FALSE(folder.exists("one"));
  EXPECT_EQ(folder.readWhole("three"), "1");
}

// What can be held is open for reading at least, and lets the streams write.
TEST_F(SystemFileTest, AHeldFileCanBeOpenedForWritingByItself) {
  const std::string name = folder.writePlain("data", "0123456789");
  const SystemFile held = SystemFile::open(name, kOpenHeld);
  SystemFile writes = SystemFile::openHeldForWriting(held, name);
  writes.writeAt("ab", 2, 0);
  writes.close();
  EXPECT_EQ(folder.readWhole("data"), "ab23456789");
}

TEST_F(SystemFileTest, AClaimExcludesAnotherOneAndNoStream) {
  const std::string name = folder.writePlain("data", "x");
  SystemFile one = SystemFile::open(name, kOpenHeld);
  SystemFile other = SystemFile::open(name, kOpenHeld);
  one.claim();
  EXPECT_EQ(errorOf([&] { other.claim(); }), EBUSY);
  one.close();
  other.claim();
}

TEST_F(SystemFileTest, ListsTheNamesInAFolder) {
  folder.writePlain("one", "");
  folder.writePlain("two", "");
  EXPECT_THAT(namesIn(folder.path("")), UnorderedElementsAre("one", "two"));
}

TEST_F(SystemFileTest, RemovesAFile) {
  const std::string name = folder.writePlain("one", "");
  removeFile(name);
  EXPECT_FALSE(folder.exists("one"));
  EXPECT_EQ(errorOf([&] { removeFile(name); }), ENOENT);
}

// Beyond what the ordinary calls of some systems take.
TEST_F(SystemFileTest, APathOfThreeHundredLettersIsTaken) {
  std::filesystem::create_directory(folder.folder() / std::string(40, 'd'));
  const std::string name = folder.path(std::string(40, 'd') + "/") + std::string(230, 'e');
  const std::string longer = name + ".working";
  ASSERT_GT(name.size(), 290U);
  SystemFile file = SystemFile::open(longer, kOpenRead | kOpenWrite | kOpenNew);
  file.write("x", 1);
  file.close();
  EXPECT_EQ(statusOf(longer)->size, 1);
  EXPECT_TRUE(renameToFree(longer, name));
  EXPECT_THAT(namesIn(folder.path(std::string(40, 'd'))), ElementsAre(std::string(230, 'e')));
  removeFile(name);
}

TEST_F(SystemFileTest, AnInterruptedTransferGoesOnButNotForEver) {
  const SystemFile file = SystemFile::open(folder.writePlain("data", "0123456789"), kOpenRead);
  std::array<char, 10> bytes{};
  SystemProbe probe;
  probe.failNth("readAt", 1, EINTR);
  EXPECT_EQ(file.readAt(bytes.data(), 10, 0), 10U);
  probe.failEvery("readAt", EINTR);
  EXPECT_EQ(errorOf([&] { file.readAt(bytes.data(), 10, 0); }), EINTR);
}

TEST_F(SystemFileTest, AnInterruptEndsATransferThatIsToBeGivenUp) {
  SystemFile file = SystemFile::open(folder.writePlain("data", "0123456789"), kOpenRead);
  std::array<char, 10> bytes{};
  file.giveUpWhen([]() noexcept { return true; });
  EXPECT_EQ(errorOf([&] { file.read(bytes.data(), 10); }), EINTR);
}

TEST_F(SystemFileTest, AnInterruptedOpenThatMayBeGivenUpIsMadeAgainButNotForEver) {
  const std::string name = folder.writePlain("data", "0123456789");
  const auto open = [&] { return SystemFile::open(name, kOpenRead, []() noexcept { return false; }); };
  SystemProbe probe;
  probe.failNth("open", 1, EINTR);
  EXPECT_EQ(open().size(), 10);
  probe.failEvery("open", EINTR);
  EXPECT_EQ(errorOf(open), EINTR);
}

TEST_F(SystemFileTest, EveryDescriptorIsClosed) {
  const std::string name = folder.writePlain("data", "0123456789");
  SystemProbe probe;
  {
    SystemFile file = SystemFile::open(name, kOpenRead);
    SystemFile other = std::move(file);
    file = SystemFile::open(name, kOpenRead);
    EXPECT_EQ(probe.openDescriptors(), 2);
  }
  EXPECT_EQ(probe.openDescriptors(), 0);
  probe.failEvery("close", EIO);
  SystemFile file = SystemFile::open(name, kOpenRead);
  EXPECT_EQ(errorOf([&] { file.close(); }), EIO);
  EXPECT_EQ(probe.openDescriptors(), 0);
}

TEST(FolderOf, IsWhatStandsInFrontOfTheLastSeparator) {
  EXPECT_EQ(folderOf("file"), ".");
  EXPECT_EQ(folderOf("a/b/file"), "a/b");
  EXPECT_EQ(folderOf("/file"), "/");
}

}  // namespace
