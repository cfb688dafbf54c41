#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "Datasource/file.h"
#include "Datasource/platform/cRuntime.h"
#include "support/errors.h"
#include "support/testFolder.h"

// What holds for files on every platform: one source, built and run on each.

namespace {

using datasource::platform::cRuntime;
using support::named;
using support::Raised;
using support::raisedBy;

class FileRules : public ::testing::Test {
 protected:
  bool opens(VORN_File& file, const std::string& name, const char* mode) const {
    return file.Open(named(folder.path("") + name), mode);
  }
  static std::string readAll(VORN_File& file) {
    std::string bytes(100, '?');
    bytes.resize(file.Read(bytes.data(), bytes.size(), 0));
    return bytes;
  }
  /// The names in the folder, as UTF-8.
  std::vector<std::string> listing() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.folder())) {
      const std::u8string name = entry.path().filename().u8string();
      names.emplace_back(name.begin(), name.end());
    }
    return names;
  }

  support::TestFolder folder;
};

class FileNames : public FileRules, public ::testing::WithParamInterface<const char*> {};

TEST_P(FileNames, OpenUnderTheirOwnLetters) {
  const std::string name = GetParam();
  {
    VORN_File file;
    ASSERT_TRUE(opens(file, name, "w+b"));
    ASSERT_EQ(file.Write("abc", 3, 0), 3U);
  }
  EXPECT_THAT(listing(), ::testing::ElementsAre(name));
  VORN_File file;
  ASSERT_TRUE(opens(file, name, "rb"));
  EXPECT_EQ(readAll(file), "abc");
}

std::string kindOfName(const ::testing::TestParamInfo<const char*>& name) {
  static const std::vector<std::string> kinds{"Plain", "Umlauts", "Cjk", "Emoji"};
  return kinds.at(name.index);
}

// "Gruesse" with its own letters, "data file" in Chinese, and a face.
INSTANTIATE_TEST_SUITE_P(OfManyScripts, FileNames,
                         ::testing::Values("plain name.dat", "Gr\u00FC\u00DFe.dat", "\u6570\u636E\u6587\u4EF6.dat",
                                           "\U0001F600 data.dat"),
                         kindOfName);

TEST_F(FileRules, NamesOver260CharactersOpen) {
  const std::string inner(120, 'd');
  std::filesystem::create_directory(folder.folder() / inner);
  const std::string name = inner + "/" + std::string(180, 'n');
  ASSERT_GT(folder.path(name).size(), 300U);
  {
    VORN_File file;
    ASSERT_TRUE(opens(file, name, "w+b"));
    ASSERT_EQ(file.Write("abc", 3, 0), 3U);
  }
  VORN_File file;  // takes the file away, where a folder with such a name might not be emptied otherwise
  ASSERT_TRUE(opens(file, name, "r+bD"));
  EXPECT_EQ(readAll(file), "abc");
}

TEST_F(FileRules, SecondWriterIsRefusedAndChangesNothing) {
  folder.writePlain("f", "contents");
  VORN_File holder;
  ASSERT_TRUE(opens(holder, "f", "r+b"));
  for (const char* const mode : {"r+b", "w+b", "wb", "ab"}) {
    VORN_File second;
    errno = 0;
    EXPECT_FALSE(opens(second, "f", mode)) << mode;
    EXPECT_EQ(errno, EACCES) << mode;
  }
  EXPECT_EQ(readAll(holder), "contents");
}

TEST_F(FileRules, WriterIsFreeToOpenWhenTheFirstHasClosed) {
  folder.writePlain("f", "contents");
  VORN_File first;
  ASSERT_TRUE(opens(first, "f", "r+b"));
  EXPECT_EQ(first.Close(), 1);
  VORN_File second;
  EXPECT_TRUE(opens(second, "f", "r+b"));
}

TEST_F(FileRules, ReadersOpenBesideEachOther) {
  folder.writePlain("f", "contents");
  VORN_File first;
  VORN_File second;
  ASSERT_TRUE(opens(first, "f", "rb"));
  ASSERT_TRUE(opens(second, "f", "rb"));
  EXPECT_EQ(readAll(first), readAll(second));
}

TEST_F(FileRules, TemporaryFileWorksAndIsGoneOnceClosed) {
  VORN_File file;
  ASSERT_TRUE(opens(file, "temporary", "w+bTD"));
  EXPECT_EQ(file.Write("abc", 3, 0), 3U);
  EXPECT_EQ(readAll(file), "abc");
  EXPECT_EQ(file.Close(), 1);
  EXPECT_FALSE(folder.exists("temporary"));
}

TEST_F(FileRules, PositionsBeyondFourGigabytesAreReached) {
  constexpr int64 far = (int64{5} << 30) + 3;
  VORN_File file;
  ASSERT_TRUE(opens(file, "sparse", "w+b"));
  EXPECT_EQ(file.Write("abc", 3, far), 3U);
  EXPECT_EQ(file.Size(), far + 3);
  std::string bytes(5, '?');
  EXPECT_EQ(file.Read(bytes.data(), 5, far - 2), 5U);
  EXPECT_EQ(bytes, std::string("\0\0abc", 5));
}

TEST_F(FileRules, RaisedErrorsCarryErrno) {
  folder.writePlain("f", "contents");
  char byte = 'x';
  VORN_File reader;
  ASSERT_TRUE(opens(reader, "f", "rb"));
  EXPECT_EQ(raisedBy([&] { reader.Write(&byte, 1, 0); }), (Raised{1002, EBADF}));
  EXPECT_EQ(raisedBy([&] { reader.Read(&byte, 1, -1); }), (Raised{1003, EINVAL}));
  VORN_File writer;
  ASSERT_TRUE(opens(writer, "g", "wb"));
  EXPECT_EQ(raisedBy([&] { writer.Read(&byte, 1, 0); }), (Raised{1003, EBADF}));
  EXPECT_EQ(raisedBy([&] { writer.Write(&byte, 1, -1); }), (Raised{1002, EINVAL}));
}

TEST_F(FileRules, RefusedOpensTellWhyInErrno) {
  VORN_File file;
  errno = 0;
  EXPECT_FALSE(opens(file, "none", "rb"));
  EXPECT_EQ(errno, ENOENT);
  errno = 0;
  EXPECT_FALSE(opens(file, "", "rb"));  // the folder itself
  EXPECT_TRUE(errno == EACCES || errno == ENOENT) << errno;
  EXPECT_EQ(cRuntime()._sopen(nullptr, _O_RDONLY, _SH_DENYWR, 0), -1);
  EXPECT_EQ(errno, EINVAL);
}

}  // namespace
