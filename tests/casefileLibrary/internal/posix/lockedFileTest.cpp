#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include "casefile/error.h"
#include "files.h"
#include "journal/scopedFile.h"
#include "lockedFile.h"
#include "support/systemProbe.h"
#include "support/testFolder.h"

// What is told when a file cannot be locked, and of files whose names change hands meanwhile.

namespace {

using casefile::Error;
using casefile::ErrorKind;
using casefile::LockedFile;

class LockedFiles : public testing::Test {
 protected:
  LockedFiles() { folder_.writePlain("f", "contents"); }

  /// Returns: the error of locking it. A test fails where there is none.
  static Error lockError(const std::string& name) {
    try {
      const LockedFile file(name);
    } catch (const Error& error) {
      return error;
    }
    ADD_FAILURE() << "locked";
    return Error(ErrorKind::usage, "", {});
  }
  Error lockError() const { return lockError(folder_.path("f")); }

  support::TestFolder folder_;
};

TEST_F(LockedFiles, HaveANameThatAFileCanHave) {
  EXPECT_EQ(lockError("").kind(), ErrorKind::usage);
  EXPECT_EQ(lockError(std::string("f\0g", 3)).kind(), ErrorKind::usage);
}

TEST_F(LockedFiles, AreRegularFiles) {
  ASSERT_EQ(::mkfifo(folder_.path("pipe").c_str(), S_IRUSR | S_IWUSR), 0);
  EXPECT_EQ(lockError(folder_.path("pipe")).kind(), ErrorKind::notADataFile);
}

TEST_F(LockedFiles, AreBusyWhenAnotherAppendIsAtWorkWhoeverThatIs) {
  support::SystemProbe probe;
  probe.failEvery("claim", EBUSY);
  probe.before("claim", [&] { std::filesystem::remove(folder_.folder() / "f"); });
  const Error error = lockError();
  EXPECT_EQ(error.kind(), ErrorKind::busy);
  EXPECT_EQ(std::string(error.what()).find("process"), std::string::npos);
}

TEST_F(LockedFiles, AreBusyWhileAnotherProgramWrites) {
  for (const int reason : {EBUSY, EACCES}) {
    support::SystemProbe probe;
    probe.failEvery("lockWriters", reason);
    EXPECT_EQ(lockError().kind(), ErrorKind::busy);
    EXPECT_EQ(probe.openDescriptors(), 0);
  }
}

TEST_F(LockedFiles, TellTheSystemsReasonWhenItLocksNothing) {
  for (const char* const call : {"claim", "lockWriters", "openHeldForWriting"}) {
    support::SystemProbe probe;
    probe.failEvery(call, ENOLCK);
    const Error error = lockError();
    EXPECT_EQ(error.kind(), ErrorKind::system) << call;
    EXPECT_EQ(error.code().value(), ENOLCK) << call;
    EXPECT_EQ(error.file(), folder_.path("f")) << call;
    EXPECT_EQ(probe.openDescriptors(), 0) << call;
  }
}

TEST_F(LockedFiles, AreTheOnesThatTheNameLeadsToWhenTheyAreLocked) {
  folder_.writePlain("other", "other contents");
  support::SystemProbe probe;
  probe.before("claim", [&] { std::filesystem::rename(folder_.folder() / "other", folder_.folder() / "f"); });
  LockedFile file(folder_.path("f"));
  EXPECT_EQ(casefile::files::statusOf(folder_.path("f"))->identity, file.lock().identity());
  EXPECT_NO_THROW(file.requireName());
  EXPECT_EQ(probe.count("claim"), 2);
}

TEST_F(LockedFiles, AreLockedAgainWhenTheNameComesBack) {
  support::SystemProbe probe;
  probe.before("statusOf", [&] {
    std::filesystem::rename(folder_.folder() / "f", folder_.folder() / "g");
    folder_.writePlain("f", "another");
    probe.before("open", [&] { std::filesystem::rename(folder_.folder() / "g", folder_.folder() / "f"); });
  });
  LockedFile file(folder_.path("f"));
  EXPECT_EQ(folder_.readWhole("f"), "contents");
  EXPECT_NO_THROW(file.requireName());
}

TEST_F(LockedFiles, TellWhoHasTheLock) {
  namespace platform = datasource::platform;
  platform::SystemCalls calls = platform::ownSystemCalls;
  calls.lockHolder = [](int) { return 4711; };
  const auto fails = [](int) {
    errno = EBUSY;
    return -1;
  };
  for (const auto call : {&platform::SystemCalls::claim, &platform::SystemCalls::lockWriters}) {
    platform::SystemCalls locked = calls;
    locked.*call = fails;
    const auto* const before = platform::replaceSystemCalls(&locked);
    const Error error = lockError();
    platform::replaceSystemCalls(before);
    EXPECT_EQ(error.kind(), ErrorKind::busy);
    EXPECT_NE(std::string(error.what()).find("(process 4711)"), std::string::npos) << error.what();
  }
}

TEST_F(LockedFiles, AreNotWrittenUnderANameThatLeadsElsewhere) {
  const LockedFile file(folder_.path("f"));
  EXPECT_NO_THROW(file.requireName());
  std::filesystem::rename(folder_.folder() / "f", folder_.folder() / "g");
  EXPECT_THROW(file.requireName(), Error);
  folder_.writePlain("f", "another");
  EXPECT_THROW(file.requireName(), Error);
}

TEST_F(LockedFiles, TellWhatWritingMet) {
  LockedFile file(folder_.path("f"));
  for (const char* const call : {"writeAt", "sync", "statusOf"}) {
    support::SystemProbe probe;
    probe.failEvery(call, EIO);
    try {
      file.writeAt("x", 1, 0);
      file.sync();
      file.requireName();
      ADD_FAILURE() << call;
    } catch (const Error& error) {
      EXPECT_EQ(error.kind(), ErrorKind::system) << call;
      EXPECT_EQ(error.code().value(), EIO) << call;
    }
  }
}

/// A file that goes with the object that made it.
class ScopedFiles : public testing::Test {
 protected:
  static int errorOfRename(casefile::ScopedFile& file, const std::string& name) {
    try {
      file.rename(name);
    } catch (const std::system_error& error) {
      return error.code().value();
    }
    return 0;
  }

  support::TestFolder folder_;
};

TEST_F(ScopedFiles, GoWithTheObject) {
  {
    const casefile::ScopedFile file(folder_.path("f"));
    EXPECT_TRUE(folder_.exists("f"));
  }
  EXPECT_FALSE(folder_.exists("f"));
}

TEST_F(ScopedFiles, ThatAreLeftStay) {
  {
    casefile::ScopedFile file(folder_.path("f"));
    file.leave();
  }
  EXPECT_TRUE(folder_.exists("f"));
}

TEST_F(ScopedFiles, ThatAreGoneHaveNoNewName) {
  casefile::ScopedFile file(folder_.path("f"));
  std::filesystem::remove(folder_.folder() / "f");
  EXPECT_EQ(errorOfRename(file, folder_.path("g")), ENOENT);
}

TEST_F(ScopedFiles, ThatNobodyCanTellApartAreNotMade) {
  support::SystemProbe probe;
  probe.failEvery("status", EIO);
  EXPECT_THROW(casefile::ScopedFile(folder_.path("f")), std::system_error);
  EXPECT_FALSE(folder_.exists("f"));
  EXPECT_EQ(probe.openDescriptors(), 0);
}

TEST_F(ScopedFiles, WhoseNameLeadsElsewhereAreNeitherRenamedNorRemoved) {
  {
    casefile::ScopedFile file(folder_.path("f"));
    std::filesystem::rename(folder_.folder() / "f", folder_.folder() / "moved");
    folder_.writePlain("f", "another");
    EXPECT_EQ(errorOfRename(file, folder_.path("g")), ENOENT);
    EXPECT_FALSE(folder_.exists("g"));
  }
  EXPECT_TRUE(folder_.exists("f"));
  EXPECT_TRUE(folder_.exists("moved"));
}

TEST_F(ScopedFiles, WhoseOldNameStaysHaveNoNewOne) {
  casefile::ScopedFile file(folder_.path("f"));
  support::SystemProbe probe;
  probe.failEvery("renameToFree", ENOTSUP);
  probe.before("link", [&] { probe.failNth("unlink", 1, EPERM); });
  EXPECT_EQ(errorOfRename(file, folder_.path("g")), EPERM);
  EXPECT_FALSE(folder_.exists("g"));
  EXPECT_TRUE(folder_.exists("f"));
}

TEST_F(ScopedFiles, WhoseNewNameIsTakenMeanwhileSaySo) {
  casefile::ScopedFile file(folder_.path("f"));
  support::SystemProbe probe;
  int looks = 0;
  probe.before("renameToFree", [&] {
    probe.before("statusOf", [&] {
      ++looks;
      std::filesystem::remove(folder_.folder() / "g");
      folder_.writePlain("g", "another");
    });
  });
  EXPECT_EQ(errorOfRename(file, folder_.path("g")), EEXIST);
  EXPECT_EQ(looks, 1);
}

}  // namespace
