// The names of an output: how long they may be, and what becomes of it when others get them.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string>

#include "../../support/atomicFiles.h"
#include "atomicFile.h"
#include "support/systemProbe.h"

namespace {

using casefile::AtomicFile;
using AtomicFileNames = support::AtomicFileTest;

// A number and an end stand behind it, in the 255 bytes that file systems take; letters of several bytes are not cut.
TEST_F(AtomicFileNames, HasAWorkingNameThatFileSystemsTake) {
  constexpr std::size_t kMost = 255 - sizeof ".4294967295.tmp";
  for (const std::string letter : {"a", "\xC3\xA4", "\xE2\x82\xAC"}) {
    for (const std::size_t length : {kMost - 1, kMost, kMost + 1, std::size_t{253}}) {
      std::string name = std::string(length % letter.size(), 'x');
      while (name.size() < length) {
        name += letter;
      }
      AtomicFile file(folder_.path(name), {});
      const std::string working = workingName();
      const std::size_t kept = working.find('.');
      EXPECT_LE(working.size(), 255U);
      EXPECT_EQ(working.substr(0, kept), name.substr(0, kept));
      EXPECT_EQ((kept - length % letter.size()) % letter.size(), 0U) << working;
      EXPECT_EQ(kept, length <= kMost ? length : kMost - (kMost - length % letter.size()) % letter.size()) << length;
      EXPECT_EQ(commit(file), "");
      std::filesystem::remove(folder_.folder() / name);
    }
  }
}

// Whoever may write to the folder gives the working name to another file, or the name as soon as the output has it.
TEST_F(AtomicFileNames, WhoseNamesAreGivenToAnotherFileMeanwhileIsNotMade) {
  AtomicFile file(folder_.path("out"), {});
  std::filesystem::rename(folder_.folder() / workingName(), folder_.folder() / "moved");
  EXPECT_NE(commit(file).find("its working name was given to another file"), std::string::npos);
  EXPECT_FALSE(folder_.exists("out"));
  std::filesystem::remove(folder_.folder() / "moved");
  AtomicFile second(folder_.path("out"), {});
  support::SystemProbe probe;
  probe.before("rename", [&] {
    probe.before("statusOf", [&] {
      std::filesystem::remove(folder_.folder() / "out");
      folder_.writePlain("out", "another");
    });
  });
  EXPECT_NE(commit(second).find("was given to another file meanwhile"), std::string::npos);
}

TEST_F(AtomicFileNames, WhoseFolderIsNotOnTheDiskSaysThatItHasItsName) {
  AtomicFile file(folder_.path("out"), {.replace = true, .sync = true});
  support::SystemProbe probe;
  probe.failEvery("syncFolder", EIO);
  EXPECT_NE(commit(file).find("has its name, but the folder cannot be written to the disk"), std::string::npos);
  AtomicFile second(folder_.path("second"), {.replace = true, .sync = true});
  probe.failEvery("sync", EIO);
  EXPECT_NE(commit(second).find("cannot be given its name"), std::string::npos);
}

TEST_F(AtomicFileNames, ThatNobodyCanTellApartIsNotMade) {
  support::SystemProbe probe;
  probe.failEvery("status", EIO);
  EXPECT_NE(errorOfMaking(folder_.path("out")).find("cannot be made"), std::string::npos);
  EXPECT_EQ(workingName(), "");
  probe.before("unlink", [&] { probe.failEvery("unlink", EPERM); });
  const std::string error = errorOfMaking(folder_.path("out"));
  ASSERT_NE(workingName(), "");
  EXPECT_NE(error.find(workingName()), std::string::npos);
}

}  // namespace
