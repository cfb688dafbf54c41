// The names of an output: how long they may be, and what becomes of it when others get them.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

#include "../../support/atomicFiles.h"
#include "atomicFile.h"
#include "casefile/error.h"
#include "files.h"
#include "support/systemProbe.h"

namespace {

using casefile::AtomicFile;
using AtomicFileNames = support::AtomicFileTest;

// A number and an end stand behind it, in the 255 bytes that file systems take; letters of several bytes are not cut.
TEST_F(AtomicFileNames, HasAWorkingNameThatFileSystemsTake) {
  constexpr std::size_t kMost = 255 - sizeof ".4294967295.tmp";
  for (const std::string letter : {"a", "\xC3\xA4", "\xC3\xA9", "\xE2\x82\xAC"}) {
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

TEST_F(AtomicFileNames, HasOneOfItsOwnBytesInItsWorkingNameWhateverTheyAre) {
  const AtomicFile file(folder_.path(std::string(250, '\x80')), {});
  EXPECT_EQ(workingName().substr(0, 2), "\x80.");
}

/// Whose link and folder are, and whether both are there when they are looked at.
struct Owners {
  std::uint32_t link, folder;
  bool told = true;     // the system has owners
  bool hasLink = true;  // when it is looked at
  bool hasFolder = true;
};

// A link in a folder that others may write leads where its owner wants.
class LinksOfOthers : public support::AtomicFileTest {
 protected:
  static constexpr std::uint32_t kUser = 1000, kOther = 2000;

  LinksOfOthers() {
    std::filesystem::create_symlink("elsewhere", folder_.folder() / "link");
    calls_ = datasource::platform::ownSystemCalls;
    calls_.userId = [] { return kUser; };
    calls_.statusOf = [](const char* name, bool follow, datasource::platform::FileStatus* status) {
      const int result = datasource::platform::ownSystemCalls.statusOf(name, follow, status);
      const bool isLink = std::string(name).ends_with("/link") && !follow;
      status->owner = isLink ? owners_.link : owners_.folder;
      status->tellsRights = owners_.told;
      if (isLink ? !owners_.hasLink : status->kind == datasource::platform::FileKind::folder && !owners_.hasFolder) {
        errno = ENOENT;
        return -1;
      }
      return result;
    };
  }

  std::string errorWith(const Owners& owners) {
    owners_ = owners;
    const auto* const before = datasource::platform::replaceSystemCalls(&calls_);
    std::string error = errorOfMaking(folder_.path("link"));
    datasource::platform::replaceSystemCalls(before);
    return error;
  }

  static inline Owners owners_{};
  datasource::platform::SystemCalls calls_{};
};

TEST_F(LinksOfOthers, AreFollowedWhereTheirOwnerOwnsTheFolder) {
  const Owners followed[] = {{0, kUser},       {kUser, kUser},         {kUser, kOther},
                             {kOther, kOther}, {kOther, kUser, false}, {kOther, kUser, true, false}};
  for (const Owners& owners : followed) {
    EXPECT_EQ(errorWith(owners), "") << owners.link << ", " << owners.folder;
  }
  const Owners refused[] = {{kOther, kUser}, {kOther, 0}, {kOther, kOther, true, true, false}};
  for (const Owners& owners : refused) {
    const std::string error = errorWith(owners);
    EXPECT_NE(error.find("leads elsewhere by a link of another user (2000), which is not followed"), std::string::npos)
        << owners.folder << ": " << error;
    EXPECT_NE(error.find(std::generic_category().message(EACCES)), std::string::npos);
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
  try {
    const AtomicFile file(folder_.path("out"), {});
    ADD_FAILURE() << "made";
  } catch (const casefile::Error& error) {
    EXPECT_EQ(error.leftBehind(), "");
  }
  probe.before("unlink", [&] { probe.failEvery("unlink", EPERM); });
  const std::string error = errorOfMaking(folder_.path("out"));
  ASSERT_NE(workingName(), "");
  EXPECT_NE(error.find(workingName()), std::string::npos);
}

}  // namespace
