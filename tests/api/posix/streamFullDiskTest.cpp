#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "Datasource/Datasource.h"
#include "support/errors.h"

// A disk that is always full, as the system itself plays it.

namespace {

using namespace support;

constexpr const char* kFull = "/dev/full";

TEST(FullDisk, ABufferedWriteRaisesAtTheClose) {
  VORN_FileStream stream(kFull, "r+b");
  EXPECT_EQ(stream.Write("abc", 3), 3U);
  EXPECT_EQ(raisedBy([&stream] { stream.Close(); }), (Raised{1002, ENOSPC}));
  EXPECT_EQ(stream.Good(), 0);
  stream.ClearAndReset();
}

TEST(FullDisk, ADirectWriteRaisesAtOnce) {
  VORN_FileStream stream(kFull, "r+b");
  const std::string bytes(5000000, 'x');
  EXPECT_EQ(raisedBy([&] { stream.Write(bytes.data(), bytes.size()); }), (Raised{1002, ENOSPC}));
}

TEST(FullDisk, TheMessageNamesTheFileAndTheReason) {
  VORN_File file;
  ExtNameStr name;
  name.SetGeneric(kFull);
  ASSERT_TRUE(file.Open(name, "r+b"));
  try {
    file.Write("x", 1, 0);
    FAIL() << "nothing was raised";
  } catch (const StringSysError& error) {
    EXPECT_STREQ(error.what(), "strmcat.err 1002: writing \"/dev/full\" failed: No space left on device");
  }
}

}  // namespace
