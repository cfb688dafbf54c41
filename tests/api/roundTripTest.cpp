#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <tuple>

#include "support/assertionRecorder.h"
#include "support/compressedUse.h"
#include "support/deadline.h"
#include "support/testFolder.h"

// What goes in comes out: every size that matters, in every mode of writing and reading.

namespace {

using support::caseBytes;
using support::kBlock;
using support::kRow0;

class RoundTrip : public ::testing::TestWithParam<std::tuple<std::size_t, int, int>> {
 protected:
  std::size_t length() const { return std::get<0>(GetParam()); }
  int writeMode() const { return std::get<1>(GetParam()); }
  int readMode() const { return std::get<2>(GetParam()); }

  support::TestFolder folder;
  support::AssertionRecorder throwing{support::AssertionRecorder::Then::raise};
  support::Deadline deadline{"RoundTrip"};
};

TEST_P(RoundTrip, CaseDataComesBack) {
  support::writeFile(folder.path("f"), length(), writeMode());
  const auto stream = support::startReading(folder.path("f"), readMode());
  EXPECT_TRUE(support::sameBytes(support::readRest(*stream), caseBytes(kRow0, length())));
  EXPECT_EQ(support::readOnce(*stream, 10), "");
}

TEST_P(RoundTrip, DictionaryComesBackThroughThePlainStream) {
  support::writeFile(folder.path("f"), length(), writeMode());
  VORN_FileStream plain(folder.path("f").c_str(), "rb");
  std::string dictionary(static_cast<std::size_t>(kRow0), '?');
  EXPECT_EQ(plain.Read(dictionary.data(), dictionary.size()), dictionary.size());
  EXPECT_EQ(dictionary, support::dictionaryBytes(kRow0));
}

std::string nameOf(const ::testing::TestParamInfo<RoundTrip::ParamType>& round) {
  return std::to_string(std::get<0>(round.param)) + "Bytes_write" + std::to_string(std::get<1>(round.param)) + "_read" +
         std::to_string(std::get<2>(round.param));
}

INSTANTIATE_TEST_SUITE_P(Sizes, RoundTrip,
                         ::testing::Combine(::testing::Values(std::size_t{0}, std::size_t{1}, kBlock - 1, kBlock,
                                                              kBlock + 1, 3 * kBlock),
                                            ::testing::Values(0, 1), ::testing::Values(0, 1, 2, 3)),
                         nameOf);

}  // namespace
