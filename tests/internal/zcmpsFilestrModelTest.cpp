#include <algorithm>
#include <cstddef>
#include <random>
#include <string>

#include "support/compressedTest.h"

// Random reads of compressed data against the plain bytes.

namespace {

using support::caseBytes;
using support::kBlock;
using support::kBlockLength;
using support::kRow0;

class CompressedModel : public support::CompressedTest, public ::testing::WithParamInterface<int> {
 protected:
  const unsigned int seed = std::random_device{}();
  std::mt19937_64 random{seed};

  std::size_t upTo(std::size_t limit) { return static_cast<std::size_t>(random() % limit); }
};

TEST_P(CompressedModel, RandomReadsDeliverThePlainBytes) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  const std::size_t length = 3 * kBlock + 12'345;
  const std::string plain = caseBytes(kRow0, length);
  const auto stream = support::startReading(makeFile("f", length), GetParam());
  std::size_t at = 0;
  for (int round = 0; round < 120; ++round) {
    const std::size_t kind = upTo(6);
    if (kind == 0) {
      at = upTo(length + 1000);
      ASSERT_EQ(stream->Seek(kRow0 + static_cast<int64>(at), VORN_StrBaseIO::SeekFromStart), 0);
    } else if (kind == 1) {
      const std::size_t back = upTo(at + 1);
      at -= back;
      ASSERT_EQ(stream->Seek(-static_cast<int64>(back), VORN_StrBaseIO::SeekFromCurrent), 0);
    } else if (kind == 2) {
      at = std::min(upTo(5) * kBlock, length) - upTo(2);
      at = at > length ? 0 : at;
      ASSERT_EQ(stream->Seek(kRow0 + static_cast<int64>(at), 0), 0);
    }
    const std::size_t wanted = kind == 5 ? 1 + upTo(kBlock) : 1 + upTo(5000);
    const std::size_t expected = at < length ? std::min(wanted, length - at) : 0;
    SCOPED_TRACE("round " + std::to_string(round) + ": " + std::to_string(wanted) + " at " + std::to_string(at));
    ASSERT_TRUE(support::sameBytes(support::readOnce(*stream, wanted), plain.substr(std::min(at, length), expected)));
    at += expected;
    ASSERT_EQ(stream->Tell(), kRow0 + static_cast<int64>(at));
  }
}

TEST_P(CompressedModel, RandomPiecesAreWrittenAsOneRun) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  const auto stream = support::startWriting(folder.path("f"), GetParam() == 0 ? 0 : 1);
  const std::size_t length = kBlock + upTo(2 * kBlock);
  const std::string plain = caseBytes(kRow0, length);
  for (std::size_t at = 0; at < length;) {
    const std::size_t piece = std::min(1 + upTo(upTo(4) == 0 ? 2 * kBlock : 100'000), length - at);
    ASSERT_EQ(stream->Write(plain.data() + at, piece), piece);
    at += piece;
  }
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", length);
}

INSTANTIATE_TEST_SUITE_P(Mode, CompressedModel, ::testing::Values(0, 2), ::testing::PrintToStringParamName());

}  // namespace
