#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "smallCopy.h"
#include "support/compressedBytes.h"

namespace {

TEST(CopyRecord, CopiesExactlyTheBytesOfEveryLengthAtEveryAlignment) {
  constexpr std::size_t kLongest = 400;
  const std::string source = support::randomBytes(kLongest + 16, 7);
  for (std::size_t size = 0; size <= kLongest; ++size) {
    for (std::size_t shift = 0; shift < 16; ++shift) {
      std::string expected(kLongest + 32, '.');
      std::string dest = expected;
      expected.replace(shift, size, source, shift, size);
      ASSERT_EQ(copyRecord(reinterpret_cast<unsigned char*>(dest.data()) + shift,
                           reinterpret_cast<const unsigned char*>(source.data()) + shift, size),
                size);
      ASSERT_EQ(dest, expected) << size << " bytes at " << shift;
    }
  }
}

}  // namespace
