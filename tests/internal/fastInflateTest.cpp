#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Datasource/sortTemp/zlibCompress.h"
#include "fastInflate.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"
#include "support/deflateBits.h"

namespace {

using datasource::form::fastInflate;

const unsigned char* bytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

/// What one call over whole buffers gives.
struct Outcome {
  std::string bytes;
  bool complete = false;
};

/// zlib alone, the model.
Outcome byZlib(const std::string& stream, std::size_t capacity) {
  std::vector<unsigned char> dest(capacity + 1);
  z_stream state{};
  EXPECT_EQ(inflateInit(&state), Z_OK);
  state.next_in = const_cast<unsigned char*>(bytesOf(stream));
  state.avail_in = static_cast<uInt>(stream.size());
  state.next_out = dest.data();
  state.avail_out = static_cast<uInt>(capacity);
  const bool complete = inflate(&state, Z_FINISH) == Z_STREAM_END;
  const std::size_t produced = capacity - state.avail_out;
  inflateEnd(&state);
  return {std::string(dest.begin(), dest.begin() + static_cast<std::ptrdiff_t>(produced)), complete};
}

/// The exported codec. Behind the capacity stands a mark that must stay.
Outcome byCodec(const std::string& stream, std::size_t capacity) {
  constexpr std::size_t kMark = 64;
  std::vector<unsigned char> dest(capacity + kMark, 0xA5);
  zlibCompressBlock codec;
  std::size_t produced = capacity;
  codec.decompressBlock(const_cast<unsigned char*>(bytesOf(stream)), stream.size(), dest.data(), produced);
  const auto end = dest.begin() + static_cast<std::ptrdiff_t>(capacity);
  EXPECT_TRUE(std::all_of(end, dest.end(), [](unsigned char byte) { return byte == 0xA5; })) << "written behind";
  return {std::string(dest.begin(), dest.begin() + static_cast<std::ptrdiff_t>(produced)), codec.complete()};
}

void expectSame(const std::string& stream, std::size_t capacity, const std::string& what) {
  const Outcome model = byZlib(stream, capacity);
  const Outcome ours = byCodec(stream, capacity);
  ASSERT_EQ(ours.complete, model.complete) << what << ", capacity " << capacity;
  ASSERT_EQ(ours.bytes.size(), model.bytes.size()) << what << ", capacity " << capacity;
  ASSERT_TRUE(ours.bytes == model.bytes) << what << ", capacity " << capacity;
}

/// Bytes that deflate in stored, fixed and dynamic blocks, as `kind` has it.
std::string plainOf(unsigned int kind, std::size_t length, unsigned int seed) {
  switch (kind % 4) {
    case 0:
      return support::randomBytes(length, seed);
    case 1:
      return std::string(length, 'a');
    case 2:
      return support::caseBytes(0, length);
    default: {
      std::string text = support::randomBytes(length, seed);
      std::transform(text.begin(), text.end(), text.begin(), [](char byte) { return static_cast<char>(byte & 7); });
      return text;
    }
  }
}

void damage(std::string& stream, std::mt19937& random) {
  const std::size_t place = random() % stream.size();
  switch (random() % 5) {
    case 0:
      stream[place] = static_cast<char>(random());
      break;
    case 1:
      stream[place] = static_cast<char>(stream[place] ^ (1 << (random() % 8)));
      break;
    case 2:
      stream.resize(place);
      break;
    case 3:
      stream.insert(place, 1, static_cast<char>(random()));
      break;
    default:
      stream.erase(place, 1 + random() % 8);
      break;
  }
}

TEST(FastInflate, WholeStreamsComeOutWithTheirLengths) {
  for (const std::size_t length : {0U, 1U, 2U, 257U, 65'536U, 300'001U}) {
    const std::string plain = support::caseBytes(0, length);
    const std::string stream = support::zipped(plain);
    std::vector<unsigned char> dest(length + 1);
    const std::string followed = stream + "more";
    const auto result = fastInflate(bytesOf(followed), followed.size(), dest.data(), length);
    ASSERT_TRUE(result.has_value()) << length;
    EXPECT_EQ(result->consumed, stream.size());
    EXPECT_EQ(result->produced, length);
    EXPECT_TRUE(std::equal(plain.begin(), plain.end(), reinterpret_cast<const char*>(dest.data())));
  }
}

TEST(FastInflate, NullPointersAndLengthsBeyond32BitsAreLeftToZlib) {
  const std::string stream = support::zipped("abc");
  std::vector<unsigned char> dest(3);
  EXPECT_FALSE(fastInflate(nullptr, stream.size(), dest.data(), 3));
  EXPECT_FALSE(fastInflate(bytesOf(stream), stream.size(), nullptr, 3));
  // A length this long is not even looked at: the buffers are shorter.
  EXPECT_FALSE(fastInflate(bytesOf(stream), stream.size() + (std::size_t{1} << 32U), dest.data(), 3));
  EXPECT_FALSE(fastInflate(bytesOf(stream), stream.size(), dest.data(), std::size_t{1} << 32U));
}

TEST(FastInflate, SoundStreamsGiveTheSameAsZlibAtEveryCapacityNearTheEnd) {
  for (unsigned int kind = 0; kind < 4; ++kind) {
    const std::string plain = plainOf(kind, 3000, kind);
    for (const int level : {0, 1, 6}) {
      const std::string stream = support::zipped(plain, level);
      for (std::size_t capacity = plain.size() - 300; capacity <= plain.size() + 20; ++capacity) {
        expectSame(stream, capacity, "kind " + std::to_string(kind) + ", level " + std::to_string(level));
      }
    }
  }
}

TEST(FastInflate, StreamsCutAnywhereGiveTheSameAsZlib) {
  const std::string plain = plainOf(3, 2000, 1);
  const std::string stream = support::zipped(plain, 1);
  for (std::size_t length = 0; length <= stream.size(); ++length) {
    for (const std::size_t capacity : {std::size_t{0}, plain.size() - 1, plain.size(), plain.size() + 1}) {
      expectSame(stream.substr(0, length), capacity, "cut at " + std::to_string(length));
    }
  }
}

/// As expectSame, but a stream whose damage broke no more than an unchecked rule may count as whole: its bytes are
/// then those that were compressed. Returns: whether it did.
bool sameOrUnharmed(const std::string& stream, std::size_t capacity, const std::string& plain) {
  const Outcome ours = byCodec(stream, capacity);
  if (!ours.complete || byZlib(stream, capacity).complete) {
    expectSame(stream, capacity, "damaged stream");
    return false;
  }
  EXPECT_EQ(ours.bytes, plain) << "whole with other bytes";
  return true;
}

TEST(FastInflate, DamagedStreamsGiveTheSameAsZlib) {
  const unsigned int seed = std::random_device{}();
  RecordProperty("seed", std::to_string(seed));
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  constexpr int kRounds = 4000;
  int unharmed = 0;
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    const auto kind = static_cast<unsigned int>(random());
    const std::string plain = plainOf(kind, 1 + random() % 3000, kind);
    std::string stream = support::zipped(plain, random() % 2 == 0 ? 1 : 6);
    for (auto times = 1 + random() % 2; times > 0 && !stream.empty(); --times) {
      damage(stream, random);
    }
    SCOPED_TRACE("round " + std::to_string(round));
    for (const std::size_t capacity : {plain.size() - 1, plain.size(), plain.size() + 1, plain.size() + 300}) {
      unharmed += sameOrUnharmed(stream, capacity, plain) ? 1 : 0;
    }
  }
  EXPECT_LT(unharmed, kRounds / 20) << "such damage is rare";
}

TEST(FastInflate, ThreadsDoNotDisturbEachOther) {
  const support::Deadline deadline("inflating in threads");
  const std::string plain = support::caseBytes(0, 200'000);
  const std::string stream = support::zipped(plain);
  std::vector<int> sound(4);
  std::vector<std::thread> threads;
  for (int& mine : sound) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        mine += byCodec(stream, plain.size()).bytes == plain ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(sound, ::testing::Each(20));
}

/// Streams that break a rule of deflate which libdeflate does not check, or not in every version, with the check value
/// of what it makes of them. zlib calls each of them a data error.
class UncheckedRule : public ::testing::Test {
 protected:
  static void expectTaken(const std::string& stream, const std::string& plain) {
    EXPECT_FALSE(byZlib(stream, plain.size() + 10).complete) << "no broken rule";
    const Outcome ours = byCodec(stream, plain.size() + 10);
    EXPECT_EQ(ours.complete, libdeflateTakes(stream, plain.size() + 10));
    EXPECT_EQ(ours.bytes, ours.complete ? plain : "");
  }

  static bool libdeflateTakes(const std::string& stream, std::size_t capacity) {
    std::string plain(capacity, '\0');
    std::size_t made = 0;
    libdeflate_decompressor* const decompressor = libdeflate_alloc_decompressor();
    const auto result =
        libdeflate_zlib_decompress(decompressor, stream.data(), stream.size(), plain.data(), plain.size(), &made);
    libdeflate_free_decompressor(decompressor);
    return result == LIBDEFLATE_SUCCESS;
  }
};

using support::codeLength;
using support::DeflateBits;
using support::lettersAndEnd;
using support::with;
using support::zeros;

TEST(DeflateBits, AStreamThatKeepsTheRulesIsTakenByZlib) {
  DeflateBits bits;
  bits.dynamicBlock(257, 1, with(lettersAndEnd(257), {codeLength(0)})).word(0, 1).word(0, 1).word(1, 1);
  EXPECT_TRUE(byZlib(bits.zlibStream("aa"), 10).complete);
  DeflateBits match;
  match.dynamicBlock(258, 1, with(lettersAndEnd(258, true), {codeLength(1)}));
  match.word(0, 1).word(3, 2).word(0, 1).word(2, 2);
  EXPECT_TRUE(byZlib(match.zlibStream("aaaa"), 10).complete);
}

TEST_F(UncheckedRule, RunOfCodeLengthsMayReachTooFar_KeptAsIs) {
  for (const unsigned int count : {11U, 138U}) {
    DeflateBits bits;
    bits.dynamicBlock(257, 1, with(lettersAndEnd(257), {zeros(count)})).word(0, 1).word(0, 1).word(1, 1);
    expectTaken(bits.zlibStream("aa"), "aa");
  }
}

TEST_F(UncheckedRule, MoreSymbolsMayBeDeclaredThanThereAre_KeptAsIs) {
  DeflateBits lengths;
  lengths.dynamicBlock(288, 1, with(lettersAndEnd(288), {codeLength(0)})).word(0, 1).word(1, 1);
  expectTaken(lengths.zlibStream("a"), "a");
  DeflateBits distances;
  const std::vector<support::LengthStep> none(32, codeLength(0));
  distances.dynamicBlock(257, 32, with(lettersAndEnd(257), none)).word(0, 1).word(1, 1);
  expectTaken(distances.zlibStream("a"), "a");
}

TEST_F(UncheckedRule, SymbolsThatMeanNothingMayBeUsed_KeptAsIs) {
  DeflateBits bits;
  // 'a', the unused length symbol 286 (taken for 258 bytes), the shortest distance, the end.
  bits.fixedBlock().word(0x30 + 'a', 8).word(0xC0 + 6, 8).word(0, 5).word(0, 7);
  const std::string plain(259, 'a');
  expectTaken(bits.zlibStream(plain), plain);
}

TEST_F(UncheckedRule, WordsThatTheCodeDoesNotHaveMayBeUsed_KeptAsIs) {
  DeflateBits none;
  none.dynamicBlock(258, 1, with(lettersAndEnd(258, true), {codeLength(0)}));
  none.word(0, 1).word(3, 2).word(0, 1).word(2, 2);
  expectTaken(none.zlibStream("aaaa"), "aaaa");
  DeflateBits other;
  other.dynamicBlock(258, 1, with(lettersAndEnd(258, true), {codeLength(1)}));
  other.word(0, 1).word(3, 2).word(1, 1).word(2, 2);
  expectTaken(other.zlibStream("aaaa"), "aaaa");
}

}  // namespace
