#include <gtest/gtest.h>
#include <libdeflate.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "deflate/fastDeflate.h"
#include "inflate/strictInflate.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"

namespace {

using datasource::form::FastDeflate;
using datasource::form::inflating::fastestLoop;
using datasource::form::inflating::strictInflateBy;

const unsigned char* bytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }
unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

bool libdeflateReads(const std::string& stream, const std::string& plain) {
  const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> reader(
      libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
  std::string back(plain.size(), '\0');
  return libdeflate_zlib_decompress(reader.get(), stream.data(), stream.size(), back.data(), back.size(), nullptr) ==
             LIBDEFLATE_SUCCESS &&
         back == plain;
}

bool weRead(const std::string& stream, const std::string& plain) {
  const auto reads = [&](auto loop) {
    std::string back(plain.size(), '\0');
    const auto result = strictInflateBy(loop, bytesOf(stream), stream.size(), bytesOf(back), back.size());
    return result && result->produced == plain.size() && result->consumed == stream.size() && back == plain;
  };
  return reads(nullptr) && (fastestLoop() == nullptr || reads(fastestLoop()));
}

class FastDeflateTest : public ::testing::Test {
 protected:
  /// Returns: the stream, or nothing where it does not fit. Bytes behind the capacity must stay.
  std::string compressed(const std::string& plain, std::size_t capacity) {
    constexpr std::size_t kBehind = 64;
    std::string dest(capacity + kBehind, kMark);
    const std::size_t length = deflate->compress(bytesOf(plain), plain.size(), bytesOf(dest), capacity);
    EXPECT_EQ(dest.substr(capacity), std::string(kBehind, kMark)) << "written behind the capacity";
    EXPECT_LE(length, capacity);
    return dest.substr(0, length);
  }

  std::string compressed(const std::string& plain) { return compressed(plain, FastDeflate::bound(plain.size())); }

  /// Returns: whether everybody reads what becomes of these bytes.
  ::testing::AssertionResult comesBack(const std::string& plain) {
    const std::string stream = compressed(plain);
    if (stream.empty()) {
      return ::testing::AssertionFailure() << plain.size() << " bytes need more than the bound";
    }
    std::string back;
    if (!support::unzipped(stream, plain.size(), back) || back != plain) {
      return ::testing::AssertionFailure() << plain.size() << " bytes do not come back by zlib";
    }
    if (!libdeflateReads(stream, plain) || !weRead(stream, plain)) {
      return ::testing::AssertionFailure() << plain.size() << " bytes do not come back by a strict inflater";
    }
    return ::testing::AssertionSuccess();
  }

  static constexpr char kMark = '\xA5';
  std::unique_ptr<FastDeflate> deflate = std::make_unique<FastDeflate>();
};

/// A random text of the first so many letters.
std::string letters(std::size_t length, unsigned count, unsigned seed) {
  std::string text = support::randomBytes(length, seed);
  std::transform(text.begin(), text.end(), text.begin(),
                 [=](char byte) { return static_cast<char>('a' + static_cast<unsigned char>(byte) % count); });
  return text;
}

/// Rows of numbers and words, as data files have them.
std::string records(std::size_t length) {
  const std::string noise = support::randomBytes(1000, 1);
  std::string rows;
  for (unsigned row = 0; rows.size() < length; ++row) {
    rows +=
        "north   " + std::to_string(1'000'000 + row) + noise.substr(row % 997, 3) + std::string(9, '\0') + "rural   ";
  }
  return rows.substr(0, length);
}

std::vector<std::string> kindsOf(std::size_t length) {
  return {support::randomBytes(length, static_cast<unsigned>(length)),
          std::string(length, '\0'),
          support::caseBytes(0, length),
          letters(length, 2, 1),
          letters(length, 20, 2),
          records(length)};
}

TEST_F(FastDeflateTest, EverySmallSizeComesBack) {
  for (std::size_t length = 0; length <= 300; ++length) {
    for (const std::string& plain : kindsOf(length)) {
      ASSERT_TRUE(comesBack(plain));
    }
  }
}

// 32,768 tokens are a block: where each stands for one byte, for two, for many. 65,535 bytes are stored at once.
TEST_F(FastDeflateTest, SizesAroundABlocksEndComeBack) {
  for (const std::size_t length : {32'768U, 65'536U, 131'070U}) {
    for (const std::size_t around : {length - 1, length + 0U, length + 1}) {
      for (const std::string& plain : kindsOf(around)) {
        ASSERT_TRUE(comesBack(plain));
      }
    }
  }
}

TEST_F(FastDeflateTest, AWholeBlockOfTheFormComesBack) { EXPECT_TRUE(comesBack(records(support::kBlock))); }

TEST_F(FastDeflateTest, RunsOfEveryLengthComeBack) {
  std::string plain;
  for (std::size_t length = 1; length <= 600; ++length) {
    plain += std::string(length, static_cast<char>(length)) + support::randomBytes(5, static_cast<unsigned>(length));
    ASSERT_TRUE(comesBack(plain.substr(plain.size() - length - 5)));
  }
  EXPECT_TRUE(comesBack(plain));
}

TEST_F(FastDeflateTest, EveryAlphabetSizeComesBack) {
  for (unsigned count = 1; count <= 256; count = count * 3 / 2 + 1) {
    ASSERT_TRUE(comesBack(letters(5000, count, count)));
  }
}

TEST_F(FastDeflateTest, DataThatChangesItsKindComesBack) {
  std::string plain;
  for (unsigned part = 0; part < 20; ++part) {
    plain += kindsOf(1000 + 997 * part)[part % 6];
  }
  EXPECT_TRUE(comesBack(plain));
}

// Literals as frequent as the numbers of Fibonacci want words of any length.
TEST_F(FastDeflateTest, FrequenciesThatWantWordsTooLongComeBack) {
  std::string plain;
  std::size_t before = 1;
  for (std::size_t count = 1, letter = 0; letter < 24; ++letter) {
    plain.append(count, static_cast<char>('A' + letter));
    before = std::exchange(count, count + before);
  }
  std::shuffle(plain.begin(), plain.end(), std::mt19937(1));
  EXPECT_TRUE(comesBack(plain));
}

/// Two equal words so far apart, and nothing like them between.
std::string equalWords(std::size_t distance) {
  const std::string word = support::randomBytes(40, 77);
  return "begin" + word + std::string(distance - word.size(), ' ') + word + std::string(100, ' ');
}

TEST_F(FastDeflateTest, MatchesReachAsFarAsTheWindowAndNoFarther) {
  const std::size_t reached = compressed(equalWords(32'768)).size();
  const std::size_t missed = compressed(equalWords(32'769)).size();
  EXPECT_GT(missed, reached + 20);
  for (const std::size_t distance : {100U, 32'767U, 32'768U, 32'769U, 65'535U, 65'536U, 65'537U, 98'304U}) {
    EXPECT_TRUE(comesBack(equalWords(distance))) << distance;
  }
}

TEST_F(FastDeflateTest, TheBoundHoldsForWhatCannotShrink) {
  for (const std::size_t length : {0U, 1U, 1000U, 65'535U, 65'536U, 500'000U}) {
    const std::string plain = support::randomBytes(length, 5);
    EXPECT_LE(compressed(plain).size(), length + (length / 32'768 + 1) * 5 + 7) << length;
  }
}

TEST_F(FastDeflateTest, FitsToTheByteOrIsRefused) {
  for (const std::size_t length : {0U, 1U, 50U, 300U, 5000U}) {
    for (const std::string& plain : kindsOf(length)) {
      const std::string whole = compressed(plain);
      for (std::size_t capacity = 0; capacity < whole.size() + 40; capacity += 1 + whole.size() / 300) {
        ASSERT_EQ(compressed(plain, capacity), capacity < whole.size() ? "" : whole) << length << ", " << capacity;
      }
      ASSERT_EQ(compressed(plain, whole.size()), whole);
    }
  }
}

TEST_F(FastDeflateTest, FitsToTheByteInSeveralBlocks) {
  const std::string plain = records(200'000) + support::randomBytes(70'000, 8) + letters(100'000, 20, 3);
  const std::string whole = compressed(plain);
  for (std::size_t less = 0; less <= 20; ++less) {
    ASSERT_EQ(compressed(plain, whole.size() - less), less == 0 ? whole : "") << less;
  }
  for (std::size_t capacity = 0; capacity < whole.size(); capacity += 20'011) {
    ASSERT_EQ(compressed(plain, capacity), "") << capacity;
  }
}

TEST_F(FastDeflateTest, WhatWasCompressedBeforeChangesNothing) {
  const std::string plain = records(300'000);
  const std::string expected = compressed(plain);
  for (const std::string& other : kindsOf(100'000)) {
    compressed(other);
    EXPECT_EQ(compressed(plain), expected);
  }
}

TEST_F(FastDeflateTest, WhatRepeatsShrinks) {
  EXPECT_LT(compressed(std::string(1'000'000, 'x')).size(), 1500U);
  EXPECT_LT(compressed(support::caseBytes(0, 1'000'000)).size(), 40'000U);
  EXPECT_LT(compressed(letters(100'000, 2, 1)).size(), 25'000U);
}

}  // namespace
