#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "blockCodec.h"
#include "support/compressedImage.h"

// One block to one zlib stream and back: how each call says that it ended.

namespace {

using datasource::form::CodecResult;
using datasource::form::Verdict;
using support::randomBytes;
using support::zipped;

const unsigned char* bytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

class FormCodec : public ::testing::Test {
 protected:
  CodecResult inflate(const std::string& input, std::size_t capacity) {
    output.assign(capacity, '?');
    return datasource::form::decompressBlock(bytesOf(input), input.size(),
                                             reinterpret_cast<unsigned char*>(output.data()), capacity);
  }
  CodecResult deflate(const std::string& text, std::size_t capacity) {
    output.assign(capacity, '?');
    return datasource::form::compressBlock(bytesOf(text), text.size(), reinterpret_cast<unsigned char*>(output.data()),
                                           capacity);
  }
  void expect(const CodecResult& result, Verdict verdict, std::size_t produced, std::size_t consumed) {
    EXPECT_EQ(result.verdict, verdict);
    EXPECT_EQ(result.produced, produced);
    EXPECT_EQ(result.consumed, consumed);
  }

  const std::string plain = support::caseBytes(0, 2000);
  const std::string stream = zipped(plain);
  std::string output;
};

TEST_F(FormCodec, CompressesIntoAWholeStream) {
  expect(deflate(plain, 4000), Verdict::complete, stream.size(), plain.size());
  EXPECT_EQ(output.substr(0, stream.size()), stream);
}

TEST_F(FormCodec, StreamThatDoesNotFitIsCutAndSaysSo) {
  for (std::size_t capacity = 1; capacity < stream.size(); ++capacity) {
    const CodecResult result = deflate(plain, capacity);
    EXPECT_EQ(result.verdict, Verdict::outputFull);
    EXPECT_EQ(result.produced, capacity);
  }
  EXPECT_EQ(deflate(plain, stream.size()).verdict, Verdict::complete);
}

TEST_F(FormCodec, DecompressesAWholeStreamAndTellsWhereItEnds) {
  expect(inflate(stream + "what lies behind", 4000), Verdict::complete, 2000, stream.size());
  EXPECT_EQ(output.substr(0, 2000), plain);
}

TEST_F(FormCodec, StreamThatExactlyFillsTheOutputIsComplete) {
  expect(inflate(stream, 2000), Verdict::complete, 2000, stream.size());
}

TEST_F(FormCodec, CutStreamNeedsInputWhateverRoomThereIs) {
  for (std::size_t kept = 0; kept < stream.size(); ++kept) {
    const CodecResult result = inflate(stream.substr(0, kept), 2001);
    EXPECT_EQ(result.verdict, Verdict::needsInput) << kept;
    EXPECT_EQ(result.consumed, kept);
  }
  for (std::size_t missing = 1; missing <= 4; ++missing) {
    expect(inflate(stream.substr(0, stream.size() - missing), 2000), Verdict::needsInput, 2000,
           stream.size() - missing);
  }
}

TEST_F(FormCodec, StreamThatIsLongerThanTheOutputFillsItAlsoWhereTheInputEndsThereToo) {
  EXPECT_EQ(inflate(stream, 1999).verdict, Verdict::outputFull);
  const std::string noise = randomBytes(3000, 5);
  const std::string stored = zipped(noise);
  for (std::size_t kept = 8; kept < stored.size(); ++kept) {
    // Of what the cut stream gives, all but one byte find room.
    const std::size_t all = inflate(stored.substr(0, kept), 4000).produced;
    if (all > 1) {
      EXPECT_EQ(inflate(stored.substr(0, kept), all - 1).verdict, Verdict::outputFull) << kept;
      EXPECT_EQ(inflate(stored.substr(0, kept), all).verdict, Verdict::needsInput) << kept;
    }
  }
}

TEST_F(FormCodec, DamageSaysSo) {
  EXPECT_EQ(inflate(plain, 4000).verdict, Verdict::damaged);
  std::string wrongCheckValue = stream;
  wrongCheckValue.back() = static_cast<char>(wrongCheckValue.back() ^ 1);
  EXPECT_EQ(inflate(wrongCheckValue, 4000).verdict, Verdict::damaged);
  EXPECT_EQ(inflate(wrongCheckValue, 2000).verdict, Verdict::damaged);
}

TEST_F(FormCodec, MissingBuffersAreMisuse) {
  const CodecResult result = datasource::form::decompressBlock(nullptr, 10, nullptr, 10);
  EXPECT_EQ(result.verdict, Verdict::misused);
  EXPECT_EQ(result.produced, 0U);
}

TEST_F(FormCodec, CutStreamYieldsAllExactlyWhenNoDataAreCut) {
  const std::string noise = randomBytes(100'000, 6);
  const std::string whole = zipped(noise);
  for (std::size_t missing = 0; missing <= 4; ++missing) {
    EXPECT_TRUE(datasource::form::yieldsAll(bytesOf(whole), whole.size() - missing, noise.size())) << missing;
  }
  for (const std::size_t missing : {std::size_t{6}, std::size_t{100}, whole.size() - 1, whole.size()}) {
    EXPECT_FALSE(datasource::form::yieldsAll(bytesOf(whole), whole.size() - missing, noise.size())) << missing;
  }
  EXPECT_FALSE(datasource::form::yieldsAll(bytesOf(noise), noise.size(), noise.size()));
}

TEST_F(FormCodec, BeginningsOfStreamsAreKnownByTheirHeader) {
  for (int level = 0; level <= 9; ++level) {
    EXPECT_TRUE(datasource::form::beginsZlibStream(bytesOf(zipped(plain, level)))) << level;
  }
  for (const char* other : {"\x9c\xff", "\xff\xff", "x\x02", "ab", "\x88\x01", "\x88\x1c"}) {
    EXPECT_FALSE(datasource::form::beginsZlibStream(reinterpret_cast<const unsigned char*>(other))) << other;
  }
}

}  // namespace
