#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>
#include <system_error>

#include "scratchFolder.h"
#include "support/systemProbe.h"
#include "systemFile.h"

// Rights, links and locks, as POSIX has them.

namespace {

using namespace datasource::platform;
using platformtest::ScratchFolder;
using support::SystemProbe;

int errorOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::system_error& error) {
    return error.code().value();
  }
  return 0;
}

class SystemFilePosixTest : public ::testing::Test {
 protected:
  std::string linkTo(const std::string& target, const std::string& name) {
    EXPECT_EQ(::symlink(target.c_str(), folder.path(name).c_str()), 0);
    return folder.path(name);
  }
  ScratchFolder folder;
};

TEST_F(SystemFilePosixTest, ANewFileIsForThisUserAlone) {
  const ::mode_t before = ::umask(0);
  const SystemFile file = SystemFile::open(folder.path("new"), kOpenWrite | kOpenNew);
  ::umask(before);
  EXPECT_EQ(file.status().mode, 0600U);
  EXPECT_EQ(file.status().owner, ::geteuid());
  EXPECT_TRUE(file.status().tellsRights);
}

TEST_F(SystemFilePosixTest, ANewFileIsNotMadeBehindALink) {
  const std::string link = linkTo(folder.path("target"), "link");
  EXPECT_EQ(errorOf([&] { SystemFile::open(link, kOpenWrite | kOpenNew); }), EEXIST);
  EXPECT_FALSE(platformtest::exists(folder.path("target")));
}

TEST_F(SystemFilePosixTest, ARegularFileIsOpenedBehindNoLinkAndNoPipe) {
  const std::string link = linkTo(folder.write("target", "x"), "link");
  ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
  EXPECT_FALSE(SystemFile::openRegular(link, kOpenRead));
  EXPECT_FALSE(SystemFile::openRegular(folder.path("pipe"), kOpenRead));
  EXPECT_FALSE(SystemFile::openRegular(folder.path(), kOpenRead));
  EXPECT_TRUE(SystemFile::openRegular(folder.path("target"), kOpenRead));
}

TEST_F(SystemFilePosixTest, RightsAndOwnerGoThroughTheDescriptor) {
  const std::string name = folder.write("file", "x");
  const std::string other = folder.write("other", "x");
  const unsigned before = statusOf(other)->mode;
  SystemFile file = SystemFile::open(name, kOpenRead);
  rename(other, name);
  file.setMode(0440);
  file.setOwner(::geteuid(), ::getegid());
  EXPECT_EQ(file.status().mode, 0440U);
  EXPECT_EQ(statusOf(name)->mode, before);
}

TEST_F(SystemFilePosixTest, TheEndOfAHoleIsToldWhereTheSystemKnowsIt) {
  constexpr int64 kFar = int64{1} << 30;
  SystemFile file = SystemFile::open(folder.path("holes"), kOpenRead | kOpenWrite | kOpenNew);
  file.writeAt("x", 1, kFar);
  file.truncate(2 * kFar);
  int64 found = -1;
  ASSERT_EQ(systemCalls().nextData(file.descriptor(), 0, &found), 0);
  EXPECT_TRUE(found == 0 || (found <= kFar && found > kFar - (1 << 20))) << found;  // 0: it keeps no holes
  EXPECT_EQ(file.nextData(0), found);
  EXPECT_EQ(file.nextData(kFar), kFar);
  EXPECT_EQ(file.nextData(2 * kFar), 2 * kFar);
  EXPECT_EQ(file.nextData(kFar + (1 << 20)), found == 0 ? kFar + (1 << 20) : 2 * kFar);
}

TEST_F(SystemFilePosixTest, NoHoleIsToldOfABorrowedDescriptorNorWhereTheCallFails) {
  SystemFile file = SystemFile::open(folder.path("holes"), kOpenRead | kOpenWrite | kOpenNew);
  file.truncate(1 << 20);
  file.seek(7);
  EXPECT_EQ(SystemFile::borrowed(file.descriptor()).nextData(5), 5);
  EXPECT_EQ(::lseek(file.descriptor(), 0, SEEK_CUR), 7);
  SystemProbe probe;
  probe.failEvery("nextData", EIO);
  EXPECT_EQ(file.nextData(5), 5);
}

TEST_F(SystemFilePosixTest, AnUnnamedFileGetsANameWhenItIsLinked) {
  SystemFile file = SystemFile::open(folder.path(), kOpenRead | kOpenWrite | kOpenUnnamed);
  file.write("x", 1);
  EXPECT_TRUE(namesIn(folder.path()).empty());
  EXPECT_EQ(file.status().names, 0U);
  file.link(folder.path("name"));
  EXPECT_EQ(platformtest::contentsOf(folder.path("name")), "x");
  EXPECT_EQ(errorOf([&] { file.link(folder.path("name")); }), EEXIST);
}

TEST_F(SystemFilePosixTest, LinksAreFollowedToWhereNothingIsAndNotInCircles) {
  linkTo("target", "one");
  linkTo("one", "two");
  linkTo(folder.path("two"), "three");
  EXPECT_EQ(withoutLinks(folder.path("three")), folder.path("target"));
  EXPECT_EQ(withoutLinks(folder.path("plain")), folder.path("plain"));
  linkTo("b", "a");
  linkTo("a", "b");
  EXPECT_EQ(errorOf([&] { withoutLinks(folder.path("a")); }), ELOOP);
  EXPECT_EQ(statusOfName(folder.path("a"))->kind, FileKind::link);
  EXPECT_FALSE(statusOf(folder.path("a")));
}

TEST_F(SystemFilePosixTest, ALinkOfAnyLengthIsRead) {
  const std::string target(1000, 'x');
  EXPECT_EQ(withoutLinks(linkTo("/" + target, "long")), "/" + target);
}

TEST_F(SystemFilePosixTest, TheWritersLockIsTheOneOfTheStreamsAndTheClaimIsNot) {
  const std::string name = folder.write("file", "x");
  SystemFile file = SystemFile::open(name, kOpenHeld);
  file.claim();
  {
    const platformtest::Descriptor stream(name, platformtest::update);
    ASSERT_TRUE(stream.isOpen());
    EXPECT_EQ(errorOf([&] { file.lockWriters(); }), EBUSY);
  }
  file.lockWriters();
  EXPECT_FALSE(platformtest::Descriptor(name, platformtest::update).isOpen());
  file.unlockWriters();
  EXPECT_TRUE(platformtest::Descriptor(name, platformtest::update).isOpen());
}

TEST_F(SystemFilePosixTest, AFileThatKeepsItsOldNameIsTold) {
  const std::string one = folder.write("one", "1");
  SystemProbe probe;
  probe.failEvery("renameToFree", ENOTSUP);
  bool whole = true;
  probe.before("unlink", [&] { probe.failEvery("unlink", EPERM); });
  whole = renameToFree(one, folder.path("two"));
  EXPECT_FALSE(whole);
  EXPECT_EQ(statusOf(folder.path("two"))->names, 2U);
}

TEST_F(SystemFilePosixTest, WithoutLinksARenameLooksFirst) {
  const std::string one = folder.write("one", "1");
  const std::string taken = folder.write("taken", "2");
  SystemProbe probe;
  // Neither the step nor links: the first failure is the step's, the second the link's.
  probe.failEvery("renameToFree", ENOTSUP);
  probe.before("link", [&] { probe.failEvery("link", EPERM); });
  EXPECT_EQ(errorOf([&] { renameToFree(one, taken); }), EEXIST);
  probe.failEvery("renameToFree", ENOTSUP);
  probe.before("link", [&] { probe.failEvery("link", EPERM); });
  EXPECT_TRUE(renameToFree(one, folder.path("three")));
  EXPECT_EQ(platformtest::contentsOf(folder.path("three")), "1");
}

TEST_F(SystemFilePosixTest, TheNamesOfAFolderAreSynced) {
  syncFolderOf(folder.write("file", "x"));
  EXPECT_EQ(errorOf([&] { syncFolderOf(folder.path("none/file")); }), ENOENT);
}

}  // namespace
