#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "casefile/version.h"

namespace {

TEST(Version, OfHeaderAndLibraryAreTheSame) {
  EXPECT_STREQ(casefile::version(), CASEFILE_VERSION_STRING);
  EXPECT_EQ(std::to_string(CASEFILE_VERSION_MAJOR) + "." + std::to_string(CASEFILE_VERSION_MINOR) + "." +
                std::to_string(CASEFILE_VERSION_PATCH),
            CASEFILE_VERSION_STRING);
}

TEST(Version, ZlibLibdeflateAndOurOwnAreAlwaysAmongTheCodecs) {
  EXPECT_THAT(casefile::codecs(), testing::IsSupersetOf({"zlib", "libdeflate", "fast"}));
  EXPECT_THAT(casefile::codecs(), testing::IsSubsetOf({"zlib", "libdeflate", "fast", "isal"}));
}

}  // namespace
