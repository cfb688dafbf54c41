#include <gtest/gtest.h>

#include <string>

#include "Datasource/version.h"

namespace {

TEST(Version, TextIsMadeOfItsNumbers) {
  EXPECT_EQ(std::to_string(DATASOURCE_VERSION_MAJOR) + "." + std::to_string(DATASOURCE_VERSION_MINOR) + "." +
                std::to_string(DATASOURCE_VERSION_PATCH),
            DATASOURCE_VERSION_STRING);
}

TEST(Version, IsThatOfTheBuild) { EXPECT_STREQ(DATASOURCE_VERSION_STRING, DATASOURCE_TEST_VERSION); }

}  // namespace
