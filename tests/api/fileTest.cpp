#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <string>

#include "Datasource/Datasource.h"
#include "support/errors.h"
#include "support/testFolder.h"

namespace {

using namespace support;

class ApiFile : public ::testing::Test {
 protected:
  void TearDown() override { SetKeepEncrypt(false); }
  TestFolder folder;
};

std::string readString(VORN_File& file, std::size_t length, int64 position) {
  std::string bytes(length, '?');
  bytes.resize(file.Read(bytes.data(), length, position));
  return bytes;
}

TEST_F(ApiFile, WritesReadsSizesAndCloses) {
  RefCountPtr<VORN_File> file(new VORN_File);
  ASSERT_TRUE(file->Open(named(folder.path("f")), "w+b"));
  EXPECT_EQ(file->Write("0123456789", 10, 0), 10U);
  EXPECT_EQ(readString(*file, 4, 3), "3456");
  EXPECT_EQ(file->Size(), 10);
  EXPECT_EQ(file->Close(), 1);
  EXPECT_EQ(file->Close(), 0);
  EXPECT_EQ(folder.readWhole("f"), "0123456789");
}

TEST_F(ApiFile, IsSharedThroughTheExportedPointer) {
  RefCountPtr<VORN_File> first(new VORN_File);
  ASSERT_TRUE(first->Open(named(folder.writePlain("f", "abc")), "rb"));
  RefCountPtr<VORN_File> second(first);
  EXPECT_EQ(first->IsShared(), 1);
  first = nullptr;
  EXPECT_EQ(readString(*second, 3, 0), "abc");
  EXPECT_EQ(second.Unshared(), second.get());
}

TEST_F(ApiFile, ASecondWriterIsRefusedUntilTheFirstCloses) {
  VORN_File first;
  ASSERT_TRUE(first.Open(named(folder.path("f")), "w+b"));
  VORN_File second;
  EXPECT_FALSE(second.Open(named(folder.path("f")), "r+b"));
  first.Close();
  EXPECT_TRUE(second.Open(named(folder.path("f")), "r+b"));
}

TEST_F(ApiFile, NamesMayHoldLettersOfAnyLanguage) {
  VORN_File file;
  const std::string name = folder.path("d\xC3\xA4ten \xE6\x95\xB0\xE6\x8D\xAE \xF0\x9F\x97\x84.dat");
  ASSERT_TRUE(file.Open(named(name), "w+b"));
  EXPECT_EQ(file.Write("x", 1, 0), 1U);
  EXPECT_TRUE(file.Open(named(name), "rb"));
  EXPECT_EQ(readString(file, 1, 0), "x");
}

TEST_F(ApiFile, ReachesBeyondFourGibibytes) {
  constexpr int64 far = (int64{6} << 30) + 5;
  VORN_File file;
  ASSERT_TRUE(file.Open(named(folder.path("f")), "w+b"));
  EXPECT_EQ(file.Write("far", 3, far), 3U);
  EXPECT_EQ(file.Size(), far + 3);
  EXPECT_EQ(readString(file, 3, far), "far");
  EXPECT_EQ(readString(file, 3, 5), std::string(3, '\0'));
}

TEST_F(ApiFile, ATemporaryFileIsGoneBehindItsClose) {
  VORN_File file;
  ASSERT_TRUE(file.Open(named(folder.path("f")), "w+bTD"));
  EXPECT_EQ(file.Write("x", 1, 0), 1U);
  EXPECT_EQ(readString(file, 1, 0), "x");
  file.Close();
  EXPECT_FALSE(folder.exists("f"));
}

TEST_F(ApiFile, TheBundledCipherKeepsContentsFromTheDisk) {
  SetKeepEncrypt(true);
  VORN_FileStream stream(folder.path("f").c_str(), "w+b", true);
  const std::string plain = selfDescribing(0, 100000);
  EXPECT_EQ(stream.Write(plain.data(), plain.size()), plain.size());
  EXPECT_EQ(stream.Close(), 1);
  EXPECT_EQ(folder.readWhole("f").find(plain.substr(800, 8)), std::string::npos);
  stream.ClearAndReset();
  std::string back(plain.size() + 4000, '?');
  back.resize(stream.Read(back.data(), back.size()));
  EXPECT_EQ(back, plain);
}

TEST_F(ApiFile, WithoutTheSwitchAStreamThatAsksForEncryptionIsPlain) {
  VORN_FileStream stream(folder.path("f").c_str(), "w+b", true);
  stream.Write("plain", 5);
  stream.Close();
  EXPECT_EQ(folder.readWhole("f"), "plain");
}

}  // namespace
