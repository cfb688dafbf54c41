// How a new file appears when it has sources: with which rights, and when it was changed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "atomicFile.h"
#include "casefile/c.h"
#include "casefile/error.h"
#include "casefile/writer.h"
#include "files.h"
#include "sameFile.h"
#include "support/systemProbe.h"
#include "support/testFolder.h"

namespace {

using casefile::Writer;
using casefile::WriterOptions;
using casefile::files::SystemFile;
using std::filesystem::perms;

constexpr perms kPrivate = perms::owner_read | perms::owner_write;
constexpr perms kShared = kPrivate | perms::group_read | perms::others_read;

class WriterSources : public testing::Test {
 protected:
  void makeSource(const std::string& name, perms rights, std::chrono::hours age = {}) {
    folder_.writePlain(name, "contents");
    std::filesystem::permissions(folder_.folder() / name, rights);
    const auto now = std::filesystem::last_write_time(folder_.folder() / name);
    std::filesystem::last_write_time(folder_.folder() / name, now - age);
  }

  Writer begin(const std::vector<SystemFile>& sources) const {
    WriterOptions options;
    for (const SystemFile& source : sources) {
      options.sources.push_back(source.descriptor());
    }
    return Writer::create(folder_.path("new"), options);
  }

  void write(const std::vector<SystemFile>& sources) const {
    Writer writer = begin(sources);
    writer.writeDictionary(std::as_bytes(std::span("dictionary")));
    writer.finish();
  }

  std::vector<SystemFile> opened(const std::vector<std::string>& names) const {
    std::vector<SystemFile> files;
    for (const std::string& name : names) {
      files.push_back(SystemFile::open(folder_.path(name), casefile::files::kOpenRead));
    }
    return files;
  }

  perms rightsOf(const std::string& name) const {
    return std::filesystem::status(folder_.folder() / name).permissions();
  }

  auto timeOf(const std::string& name) const { return std::filesystem::last_write_time(folder_.folder() / name); }

  support::TestFolder folder_;
};

TEST_F(WriterSources, GiveTheirRightsAndTimes) {
  for (const perms rights : {kPrivate, kShared}) {
    makeSource("source", rights, std::chrono::hours(1000));
    write(opened({"source"}));
    EXPECT_EQ(rightsOf("new"), rightsOf("source"));
    EXPECT_EQ(timeOf("new"), timeOf("source"));
    std::filesystem::remove(folder_.folder() / "new");
  }
}

TEST_F(WriterSources, GiveOnlyWhatAllOfThemGiveAndTheTimeOfTheFirst) {
  makeSource("first", kShared, std::chrono::hours(50));
  makeSource("second", kPrivate, std::chrono::hours(10));
  write(opened({"first", "second"}));
  EXPECT_EQ(rightsOf("new"), rightsOf("second"));
  EXPECT_EQ(timeOf("new"), timeOf("first"));
}

TEST_F(WriterSources, LeaveTheRightsOfAFileThatIsReplacedAsTheyAre) {
  makeSource("source", kShared, std::chrono::hours(50));
  makeSource("new", kPrivate);
  const perms before = rightsOf("new");
  write(opened({"source"}));
  EXPECT_EQ(rightsOf("new"), before);
  EXPECT_EQ(timeOf("new"), timeOf("source"));
}

TEST_F(WriterSources, LeaveTheWorkingFileToThisUserAlone) {
  makeSource("source", kShared);
  const auto sources = opened({"source"});
  const Writer writer = begin(sources);
  for (const auto& entry : std::filesystem::directory_iterator(folder_.folder())) {
    if (entry.path().extension() == ".tmp" && casefile::files::statusOf(entry.path().string())->tellsRights) {
      EXPECT_EQ(entry.status().permissions(), kPrivate);
    }
  }
}

TEST_F(WriterSources, ThatAreNotOpenAreAnErrorThatLeavesNothing) {
  WriterOptions options;
  options.sources = {-1};
  try {
    Writer::create(folder_.path("new"), options);
    ADD_FAILURE() << "no error";
  } catch (const casefile::Error& error) {
    EXPECT_EQ(error.kind(), casefile::ErrorKind::system);
    EXPECT_EQ(error.code().value(), EBADF);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_.folder()));
}

TEST_F(WriterSources, SayNothingWhenTheyAreNoRegularFiles) {
  write({});
  const perms any = rightsOf("new");
  std::filesystem::remove(folder_.folder() / "new");
  casefile::files::FileStatus pipe;
  pipe.kind = casefile::files::FileKind::other;
  pipe.tellsRights = true;
  casefile::AtomicFile file(folder_.path("new"), {});
  file.limitRightsTo(pipe);
  file.takeTimesOf(pipe);
  file.commit();
  EXPECT_EQ(rightsOf("new"), any);
  EXPECT_GT(timeOf("new"), std::filesystem::file_time_type::clock::now() - std::chrono::hours(10));
}

TEST(SameFile, IsNoneThatTheSystemLetsNobodySee) {
  const support::TestFolder folder;
  const std::string name = folder.writePlain("file", "bytes");
  const auto own = casefile::files::statusOf(name)->identity;
  EXPECT_TRUE(casefile::isSameFile(own, name));
  EXPECT_FALSE(casefile::isSameFile(own, folder.path("missing")));
  support::SystemProbe probe;
  probe.failEvery("statusOf", EACCES);
  EXPECT_FALSE(casefile::isSameFile(own, name));
  probe.failEvery("statusOf", EIO);
  EXPECT_THROW(casefile::isSameFile(own, name), casefile::Error);
}

TEST(WriterLeftBehind, SaysWhatCancelCouldNotRemove) {
  const support::TestFolder folder;
  Writer writer = Writer::create(folder.path("new"));
  support::SystemProbe probe;
  probe.failEvery("unlink", EPERM);
  EXPECT_FALSE(writer.leftBehind());
  writer.cancel();
  ASSERT_TRUE(writer.leftBehind());
  EXPECT_THAT(writer.leftBehind()->what(), testing::HasSubstr(".tmp cannot be removed"));
}

TEST(WriterLeftBehind, IsToldToAProgramInC) {
  const support::TestFolder folder;
  casefile_error error{};
  casefile_error why{};
  casefile_writer* writer = nullptr;
  ASSERT_EQ(casefile_writer_create(folder.path("new").c_str(), nullptr, &writer, &error), CASEFILE_OK) << error.message;
  support::SystemProbe probe;
  probe.failEvery("unlink", EPERM);
  EXPECT_EQ(casefile_writer_cancel(writer, &error), CASEFILE_OK) << error.message;
  EXPECT_EQ(casefile_writer_get_left_behind(writer, &why, &error), CASEFILE_OK);
  casefile_writer_free(writer);
  EXPECT_EQ(why.status, CASEFILE_SYSTEM);
  EXPECT_EQ(why.system_code, EPERM);
  EXPECT_THAT(why.message, testing::HasSubstr(".tmp cannot be removed"));
}

}  // namespace
