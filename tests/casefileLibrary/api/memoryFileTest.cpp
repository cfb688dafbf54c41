#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <span>
#include <string>

#include "casefile/error.h"
#include "casefile/randomAccessFile.h"

namespace {

std::string readAt(const casefile::RandomAccessFile& file, std::int64_t position, std::size_t count) {
  std::string bytes(count, '?');
  bytes.resize(file.readAt(std::as_writable_bytes(std::span(bytes)), position));
  return bytes;
}

TEST(MemoryFile, DeliversTheBytesAtAPositionAndNoneBeyondItsEnd) {
  const std::string bytes = "0123456789";
  const auto file = casefile::fileFromMemory(std::as_bytes(std::span(bytes)), "ten");
  EXPECT_EQ(file->name(), "ten");
  EXPECT_EQ(file->size(), 10);
  EXPECT_EQ(readAt(*file, 3, 4), "3456");
  EXPECT_EQ(readAt(*file, 8, 4), "89");
  EXPECT_EQ(readAt(*file, 10, 4), "");
  EXPECT_EQ(readAt(*file, -1, 4), "");
  EXPECT_EQ(readAt(*file, 3, 0), "");
  EXPECT_EQ(casefile::fileFromMemory({}, "nothing")->size(), 0);
}

TEST(MemoryFile, ANullPointerWithALengthIsWrongUse) {
  try {
    casefile::fileFromMemory(std::span<const std::byte>(static_cast<const std::byte*>(nullptr), 4), "nothing");
    FAIL() << "no error";
  } catch (const casefile::Error& error) {
    EXPECT_EQ(error.kind(), casefile::ErrorKind::usage);
  }
}

}  // namespace
