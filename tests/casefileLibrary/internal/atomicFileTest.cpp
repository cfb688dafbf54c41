// What becomes of an output when a call fails, or when somebody else acts between two calls.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include "../support/atomicFiles.h"
#include "atomicFile.h"
#include "support/systemProbe.h"
#include "support/testFolder.h"

namespace {

using casefile::AtomicFile;
using support::AtomicFileTest;

TEST_F(AtomicFileTest, TakesNoNameThatNoFileCanHaveOrThatIsTaken) {
  EXPECT_NE(errorOfMaking("").find("no file can have this name"), std::string::npos);
  EXPECT_NE(errorOfMaking(std::string("a\0b", 3)).find("no file can have this name"), std::string::npos);
  std::filesystem::create_directory(folder_.folder() / "folder");
  EXPECT_NE(errorOfMaking(folder_.path("folder")).find("is there and no regular file"), std::string::npos);
  EXPECT_NE(errorOfMaking(folder_.path("folder")).find(std::generic_category().message(EEXIST)), std::string::npos);
  folder_.writePlain("file", "contents");
  EXPECT_NE(errorOfMaking(folder_.path("file"), {.replace = false, .sync = false}).find("is there already"),
            std::string::npos);
  EXPECT_EQ(errorOfMaking(folder_.path("file")), "");
  EXPECT_EQ(workingName(), "");
}

TEST_F(AtomicFileTest, TakesAnotherWorkingNameWhereOneIsTaken) {
  support::SystemProbe probe;
  probe.failNth("open", 1, EEXIST);
  EXPECT_EQ(errorOfMaking(folder_.path("out")), "");
  EXPECT_EQ(probe.count("open"), 2);
  probe.clear();
  probe.failEvery("open", EEXIST);
  EXPECT_NE(errorOfMaking(folder_.path("out")), "");
  EXPECT_EQ(probe.count("open"), 100);
  probe.clear();
  probe.failNth("open", 1, EACCES);
  EXPECT_NE(errorOfMaking(folder_.path("out")), "");
  EXPECT_EQ(probe.count("open"), 1);
}

TEST_F(AtomicFileTest, WhoseWorkingNameStaysIsAnError) {
  AtomicFile file(folder_.path("out"), {.replace = false, .sync = false});
  support::SystemProbe probe;
  probe.failEvery("renameToFree", ENOTSUP);
  probe.before("link", [&] { probe.failEvery("unlink", EPERM); });
  EXPECT_NE(commit(file).find(workingName()), std::string::npos);
  EXPECT_NE(workingName(), "");
  EXPECT_TRUE(folder_.exists("out"));
}

// Who may write to the folder can keep an output by a second name, and give its own name to a file of the widest
// rights.
TEST_F(AtomicFileTest, RightsAreNotThoseOfAFileThatTakesTheNameMeanwhile) {
  AtomicFile ordinary(folder_.path("ordinary"), {});
  EXPECT_EQ(commit(ordinary), "");
  for (const bool replace : {false, true}) {
    AtomicFile file(folder_.path("out"), {.replace = replace, .sync = false});
    folder_.writePlain("out", "planted");
    std::filesystem::permissions(folder_.folder() / "out", std::filesystem::perms::all);
    std::optional<std::filesystem::perms> given;
    support::SystemProbe probe;
    probe.before(replace ? "rename" : "renameToFree", [&] { given = rights(workingName()); });
    EXPECT_EQ(commit(file).empty(), replace);
    EXPECT_EQ(given, rights("ordinary"));
    std::filesystem::remove(folder_.folder() / "out");
  }
}

TEST_F(AtomicFileTest, RightsAreNotThoseOfAFileThatReplacesTheOldOneMeanwhile) {
  AtomicFile ordinary(folder_.path("ordinary"), {});
  EXPECT_EQ(commit(ordinary), "");
  folder_.writePlain("out", "old");
  AtomicFile file(folder_.path("out"), {});
  folder_.writePlain("planted", "planted");
  std::filesystem::permissions(folder_.folder() / "planted", std::filesystem::perms::all);
  std::filesystem::rename(folder_.folder() / "planted", folder_.folder() / "out");
  EXPECT_EQ(commit(file), "");
  EXPECT_EQ(rights("out"), rights("ordinary"));
}

TEST_F(AtomicFileTest, RightsAreThoseOfTheFileThatItReplaces) {
  folder_.writePlain("out", "old");
  std::filesystem::permissions(folder_.folder() / "out",
                               std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  const auto before = rights("out");
  AtomicFile file(folder_.path("out"), {});
  EXPECT_EQ(commit(file), "");
  EXPECT_EQ(rights("out"), before);
}

TEST_F(AtomicFileTest, WaitsForTheDiskWhereItIsToldTo) {
  for (const bool sync : {false, true}) {
    AtomicFile file(folder_.path("out"), {.replace = true, .sync = sync});
    support::SystemProbe probe;
    EXPECT_EQ(commit(file), "");
    EXPECT_EQ(probe.count("sync"), sync ? 1 : 0);
    EXPECT_EQ(probe.count("syncFolder"), sync ? 1 : 0);
  }
  EXPECT_FALSE(AtomicFile::Rules{}.sync);
}

TEST_F(AtomicFileTest, ThatCannotBeClosedIsNotMade) {
  AtomicFile file(folder_.path("out"), {});
  support::SystemProbe probe;
  probe.failEvery("close", EIO);
  EXPECT_NE(commit(file).find("cannot be given its name"), std::string::npos);
  EXPECT_FALSE(folder_.exists("out"));
}

TEST_F(AtomicFileTest, TriesOnceToRemoveItsWorkingFile) {
  {
    AtomicFile file(folder_.path("out"), {});
    support::SystemProbe probe;
    probe.failEvery("unlink", EPERM);
    file.discard();
  }
  EXPECT_NE(workingName(), "") << "it was told that it stays";
}

TEST_F(AtomicFileTest, SaysWhatItCannotRemove) {
  AtomicFile file(folder_.path("out"), {});
  support::SystemProbe probe;
  probe.failEvery("unlink", EPERM);
  file.discard();
  ASSERT_TRUE(file.leftBehind());
  EXPECT_NE(std::string(file.leftBehind()->what()).find(workingName()), std::string::npos);
  EXPECT_EQ(file.leftBehind()->code().value(), EPERM);
}

TEST_F(AtomicFileTest, RemovesItsWorkingFileAlthoughNobodyTellsWhoseItIs) {
  AtomicFile file(folder_.path("out"), {});
  support::SystemProbe probe;
  probe.failEvery("statusOf", EIO);
  file.discard();
  EXPECT_FALSE(file.leftBehind());
  EXPECT_EQ(workingName(), "");
}

TEST_F(AtomicFileTest, AFileSystemThatKeepsNoTimesIsNoError) {
  folder_.writePlain("source", "contents");
  AtomicFile file(folder_.path("out"), {});
  file.takeTimesOf(*casefile::files::statusOf(folder_.path("source")));
  support::SystemProbe probe;
  probe.failEvery("setTimes", ENOSYS);
  EXPECT_EQ(commit(file), "");
  EXPECT_GT(probe.failuresMade(), 0);
}

}  // namespace
