// The rights that a new file gets, by those of the files whose contents it holds or that it replaces.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>

#include "journal/foundJournal.h"
#include "outputRights.h"
#include "support/systemProbe.h"
#include "support/testFolder.h"

namespace casefile {
namespace {

files::FileStatus source(std::uint32_t mode, std::uint32_t group = ::getgid()) {
  files::FileStatus status;
  status.kind = files::FileKind::regular;
  status.tellsRights = true;
  status.owner = ::getuid();
  status.group = group;
  status.mode = mode;
  return status;
}

class RightsOfOutputs : public testing::Test {
 protected:
  // The rights of a new file.
  std::uint32_t given(const OutputRights& rights, const std::optional<files::FileStatus>& replaced = {}) {
    auto file =
        files::SystemFile::open(folder_.path("f" + std::to_string(++files_)), files::kOpenNew | files::kOpenWrite);
    rights.give(file, replaced);
    return file.status().mode & 07777;
  }

  support::TestFolder folder_;
  int files_ = 0;
};

TEST_F(RightsOfOutputs, AreThoseOfAnyNewFileWhereNothingIsSaid) {
  EXPECT_EQ(given({}), files::systemCalls().defaultMode() & 0777);
}

TEST_F(RightsOfOutputs, AreNoWiderThanThoseOfEachSource) {
  OutputRights rights;
  rights.limitTo(source(0664));
  EXPECT_EQ(given(rights), 0664U);
  rights.limitTo(source(0646));
  EXPECT_EQ(given(rights), 0644U);
}

TEST_F(RightsOfOutputs, HoldNoBitThatChangesTheUser) {
  OutputRights rights;
  rights.limitTo(source(07755));
  EXPECT_EQ(given(rights), 0755U);
}

TEST_F(RightsOfOutputs, AreNotThoseOfWhatIsNoFileOrTellsNone) {
  OutputRights rights;
  files::FileStatus pipe = source(0600);
  pipe.kind = files::FileKind::other;
  rights.limitTo(pipe);
  files::FileStatus silent = source(0600);
  silent.tellsRights = false;
  rights.limitTo(silent);
  EXPECT_EQ(given(rights), files::systemCalls().defaultMode() & 0777);
}

// The members of one group may read both only if everybody may.
TEST_F(RightsOfOutputs, GiveTheGroupNoMoreThanAllWhereSourcesAreOfSeveral) {
  OutputRights rights;
  rights.limitTo(source(0664));
  rights.limitTo(source(0674, ::getgid() + 1));
  EXPECT_EQ(given(rights), 0644U);
}

TEST_F(RightsOfOutputs, AreThoseOfTheFileThatIsReplacedWhateverTheSourcesAre) {
  OutputRights rights;
  rights.limitTo(source(0600));
  EXPECT_EQ(given(rights, source(0640)), 0640U);
}

TEST_F(RightsOfOutputs, GiveTheGroupNoMoreThanAllWhereItCannotBeGiven) {
  support::SystemProbe probe;
  probe.failEvery("setOwner", EPERM);
  OutputRights other;
  other.limitTo(source(0664, ::getgid() + 1));
  EXPECT_EQ(given(other), 0644U);
  OutputRights same;
  same.limitTo(source(0664, files::statusOf(folder_.path("f1"))->group));
  EXPECT_EQ(given(same), 0664U);
}

// Whose journal is believed: one of this user's or of the data file's owner, with one name, that nobody else may write.
TEST(Distrust, IsOfWhatOthersMayHaveWritten) {
  const files::FileStatus own = source(0644);
  EXPECT_EQ(distrustOf(own, {}), "");
  files::FileStatus linked = own;
  linked.names = 2;
  EXPECT_EQ(distrustOf(linked, {}), "has another name too");
  linked.names = 0;
  EXPECT_NE(distrustOf(linked, {}), "");
  for (const std::uint32_t mode : {0602U, 0620U, 0666U}) {
    EXPECT_EQ(distrustOf(source(mode), {}), "can be written by others");
  }
  EXPECT_EQ(distrustOf(source(0755), {}), "");
  files::FileStatus foreign = own;
  ++foreign.owner;
  EXPECT_EQ(distrustOf(foreign, {}), "belongs to another user (" + std::to_string(foreign.owner) + ")");
  EXPECT_EQ(distrustOf(foreign, own), distrustOf(foreign, {}));
  EXPECT_EQ(distrustOf(foreign, foreign), "");
  foreign.mode = 0666;
  foreign.tellsRights = false;
  EXPECT_EQ(distrustOf(foreign, {}), "");
}

}  // namespace
}  // namespace casefile
