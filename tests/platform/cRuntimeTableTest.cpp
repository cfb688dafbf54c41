#include <Datasource/platform/cRuntime.h>
#include <Datasource/platform/extNameStr.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

using datasource::platform::cRuntime;
using datasource::platform::CRuntimeCalls;
using datasource::platform::replaceCRuntime;

namespace {

std::string openedName;
int openedFlags = 0;
int openedShare = 0;
int openedPermission = 0;

int noteOpen(const char* genericName, int oflag, int shflag, int pmode) {
  openedName = genericName;
  openedFlags = oflag;
  openedShare = shflag;
  openedPermission = pmode;
  return 4711;
}

const CRuntimeCalls noting{noteOpen, nullptr, nullptr, nullptr, nullptr, nullptr};

/// Puts the noting table in force for one test.
class NotingTable {
 public:
  NotingTable() : before_(replaceCRuntime(&noting)) { openedName.clear(); }
  ~NotingTable() { replaceCRuntime(before_); }
  NotingTable(const NotingTable&) = delete;
  NotingTable& operator=(const NotingTable&) = delete;

 private:
  const CRuntimeCalls* before_;
};

}  // namespace

TEST(CRuntimeTable, ReplacingGivesBackTheTableBefore) {
  const CRuntimeCalls* const own = &cRuntime();
  EXPECT_EQ(replaceCRuntime(&noting), own);
  EXPECT_EQ(&cRuntime(), &noting);
  EXPECT_EQ(replaceCRuntime(nullptr), &noting);
  EXPECT_EQ(&cRuntime(), own);
}

TEST(CRuntimeTable, PlatformsOwnTableIsComplete) {
  EXPECT_NE(cRuntime()._sopen, nullptr);
  EXPECT_NE(cRuntime()._lseeki64, nullptr);
  EXPECT_NE(cRuntime()._read, nullptr);
  EXPECT_NE(cRuntime()._write, nullptr);
  EXPECT_NE(cRuntime()._close, nullptr);
  EXPECT_NE(cRuntime()._identity, nullptr);
}

TEST(CRuntimeTable, FlagsHaveTheirValues) {
  EXPECT_EQ(_O_RDWR | _O_CREAT | _O_TRUNC, 0x302);
  EXPECT_EQ(_O_RDWR | _O_APPEND | _O_CREAT, 0x10A);
  EXPECT_EQ(_O_WRONLY | _O_CREAT | _O_TRUNC, 0x301);
  EXPECT_EQ(_O_RDONLY | _O_BINARY | _O_RANDOM, 0x8010);
  EXPECT_EQ(_O_TEXT | _O_RANDOM, 0x4010);
  EXPECT_EQ(_O_SHORT_LIVED | _O_TEMPORARY, 0x1040);
  EXPECT_EQ(_SH_DENYWR, 0x20);
  EXPECT_EQ(_S_IREAD | _S_IWRITE, 0x180);
}

TEST(Sopen, GoesThroughTheTableWithTheGenericName) {
  const NotingTable table;
  ExtNameStr name;
  name.SetGeneric("folder/file.z");
  EXPECT_EQ(name.Sopen(0x8012, _SH_DENYWR, 0x180), 4711);
  EXPECT_EQ(openedName, "folder/file.z");
  EXPECT_EQ(openedFlags, 0x8012);
  EXPECT_EQ(openedShare, 0x20);
  EXPECT_EQ(openedPermission, 0x180);
}

TEST(Sopen, NameWithANullInsideOpensNothing) {
  const NotingTable table;
  ExtNameStr name;
  name.SetGeneric(std::string("file\0.z", 7));
  errno = 0;
  EXPECT_EQ(name.Sopen(0, 0, 0), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(openedName, "");
}
