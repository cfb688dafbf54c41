#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "inflate/bitReader.h"
#include "inflate/canonicalCode.h"
#include "inflate/stepTable.h"

namespace {

using namespace datasource::form::inflating;

/// Lengths of words of a full code for some of so many symbols, by splitting a random word again and again.
std::vector<std::uint8_t> randomLengths(std::size_t symbols, std::size_t words, std::size_t must,
                                        std::mt19937& random) {
  std::vector<std::uint8_t> leaves = {1, 1};
  while (leaves.size() < words) {
    const std::size_t place = random() % leaves.size();
    if (leaves[place] < kLongestCode) {
      leaves.push_back(++leaves[place]);
    }
  }
  std::vector<std::size_t> order(symbols);
  for (std::size_t i = 0; i < symbols; ++i) {
    order[i] = i;
  }
  std::shuffle(order.begin(), order.end(), random);
  std::swap(*std::find(order.begin(), order.end(), must), order[0]);
  std::vector<std::uint8_t> lengths(symbols);
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    lengths[order[i]] = leaves[i];
  }
  return lengths;
}

/// What one step must do, found symbol by symbol.
struct Found {
  std::string literals;
  std::size_t length = 0;
  std::size_t distance = 0;
  unsigned bits = 0;
};

/// Returns: up to `literals` literals and, with `match`, the match behind them; no bits when that is not what is there.
Found bySymbols(const BlockCodes& codes, std::uint64_t bits, std::size_t literals, bool match) {
  Found found;
  const auto drop = [&](unsigned count) {
    bits >>= count;
    found.bits += count;
  };
  const auto range = [&](Range what) {
    const std::size_t value = what.base + lowBits(bits, what.extraBits);
    drop(what.extraBits);
    return value;
  };
  while (found.literals.size() < literals) {
    const Word word = codes.lengths.decode(bits);
    if (word.bits == 0 || word.symbol >= kEndOfBlock) {
      return {};
    }
    drop(word.bits);
    found.literals += static_cast<char>(word.symbol);
  }
  if (match) {
    Word word = codes.lengths.decode(bits);
    if (word.bits == 0 || word.symbol < kFirstLength || word.symbol >= kLengthSymbols) {
      return {};
    }
    drop(word.bits);
    found.length = range(kLengths[word.symbol - kFirstLength]);
    word = codes.distances.decode(bits);
    if (word.bits == 0 || word.symbol >= kDistanceSymbols) {
      return {};
    }
    drop(word.bits);
    found.distance = range(kDistances[word.symbol]);
  }
  return found;
}

std::string bytesOf(Step step) {
  std::string bytes;
  for (unsigned i = 0; i < literals(step); ++i) {
    bytes += static_cast<char>(literalBytes(step) >> (8 * i) & 255U);
  }
  return bytes;
}

void expectWhole(const BlockCodes& codes, Step step, std::uint64_t bits) {
  ASSERT_TRUE(literals(step) > 0 || lengthOf(step) > 0);
  const Found found = bySymbols(codes, bits, literals(step), lengthOf(step) > 0);
  ASSERT_EQ(found.bits, bitsTaken(step));
  ASSERT_LE(codeBits(step), kStepBits);
  ASSERT_EQ(found.literals, bytesOf(step));
  ASSERT_EQ(found.length, lengthOf(step));
  const std::size_t distance = distanceBase(step) + (lowBits(bits, bitsTaken(step)) >> codeBits(step));
  ASSERT_EQ(lengthOf(step) > 0 ? found.distance : kNoMatch, distance);
}

void expectPart(const BlockCodes& codes, Step step, std::uint64_t bits) {
  const Word word = codes.lengths.decode(bits);
  const bool isLength = word.bits > 0 && word.symbol >= kFirstLength && word.symbol < kLengthSymbols;
  if (lengthOf(step) == 0) {
    ASSERT_TRUE(word.bits == 0 || word.bits > kStepBits || word.symbol == kEndOfBlock || word.symbol >= kLengthSymbols);
    return;
  }
  ASSERT_TRUE(isLength);
  const Range range = kLengths[word.symbol - kFirstLength];
  ASSERT_EQ(bitsTaken(step), word.bits + range.extraBits);
  ASSERT_EQ(lengthOf(step) + (lowBits(bits, bitsTaken(step)) >> codeBits(step)),
            range.base + lowBits(bits >> word.bits, range.extraBits));
}

void expectRight(const BlockCodes& codes, std::mt19937_64& random) {
  const auto table = std::make_unique<StepTable>();
  table->build(codes);
  for (std::uint64_t index = 0; index < std::uint64_t{1} << kStepBits; ++index) {
    const std::uint64_t bits = random() << kStepBits | index;
    const Step step = table->step(bits);
    if ((step & kPart) != 0) {
      expectPart(codes, step, bits);
    } else {
      expectWhole(codes, step, bits);
    }
    if (::testing::Test::HasFatalFailure()) {
      FAIL() << "index " << index;
    }
  }
}

TEST(StepTable, EveryStepIsWhatItsSymbolsSay) {
  std::mt19937 random(7);
  std::mt19937_64 bits(8);
  for (const std::size_t words : {2U, 3U, 8U, 20U, 60U, 150U, 286U}) {
    for (int turn = 0; turn < 4; ++turn) {
      BlockCodes codes;
      const auto lengths = randomLengths(kLengthSymbols, words, kEndOfBlock, random);
      ASSERT_EQ(codes.lengths.assign(lengths.data(), lengths.size()), Fullness::full);
      const auto distances = randomLengths(kDistanceSymbols, 2 + random() % 29, 0, random);
      ASSERT_EQ(codes.distances.assign(distances.data(), distances.size()), Fullness::full);
      expectRight(codes, bits);
    }
  }
}

TEST(StepTable, CodesThatAreNotFullHaveStepsToo) {
  std::mt19937_64 bits(9);
  std::array<std::uint8_t, kLengthSymbols> lengths{};
  std::array<std::uint8_t, kDistanceSymbols> distances{};
  BlockCodes codes;
  lengths[kEndOfBlock] = 1;
  EXPECT_EQ(codes.lengths.assign(lengths.data(), lengths.size()), Fullness::singleBit);
  EXPECT_EQ(codes.distances.assign(distances.data(), distances.size()), Fullness::none);
  expectRight(codes, bits);
  lengths[kFirstLength] = 1;
  distances[3] = 1;
  EXPECT_EQ(codes.lengths.assign(lengths.data(), lengths.size()), Fullness::full);
  EXPECT_EQ(codes.distances.assign(distances.data(), distances.size()), Fullness::singleBit);
  expectRight(codes, bits);
}

TEST(StepTable, TheFixedCodesHaveStepsToo) {
  std::mt19937_64 bits(10);
  BlockCodes codes;
  makeFixedCodes(codes);
  expectRight(codes, bits);
}

TEST(CanonicalCode, SaysHowFullACodeIs) {
  CanonicalCode code;
  const auto fullness = [&code](std::vector<std::uint8_t> lengths) {
    return code.assign(lengths.data(), lengths.size());
  };
  EXPECT_EQ(fullness({1, 1}), Fullness::full);
  EXPECT_EQ(fullness({2, 1, 0, 2}), Fullness::full);
  EXPECT_EQ(fullness({0, 1}), Fullness::singleBit);
  EXPECT_EQ(fullness({0, 0}), Fullness::none);
  EXPECT_EQ(fullness({2}), Fullness::undersubscribed);
  EXPECT_EQ(fullness({1, 2}), Fullness::undersubscribed);
  EXPECT_EQ(fullness({1, 1, 1}), Fullness::oversubscribed);
  EXPECT_EQ(fullness({1, 1, 15}), Fullness::oversubscribed);
}

TEST(CanonicalCode, WordsComeInTheOrderOfTheirSymbols) {
  CanonicalCode code;
  const std::array<std::uint8_t, 5> lengths = {3, 1, 0, 3, 2};  // 110, 0, none, 111, 10
  ASSERT_EQ(code.assign(lengths.data(), lengths.size()), Fullness::full);
  std::vector<std::array<unsigned, 3>> words;
  code.forWords(kLongestCode, [&](unsigned symbol, unsigned word, unsigned bits) {
    words.push_back({symbol, word, bits});
    EXPECT_EQ(code.decode(word).symbol, symbol);
    EXPECT_EQ(code.decode(word).bits, bits);
  });
  EXPECT_EQ(words, (std::vector<std::array<unsigned, 3>>{{1, 0, 1}, {4, 1, 2}, {0, 3, 3}, {3, 7, 3}}));
}

TEST(BitReader, CountsTheZerosThatItPutsBehindTheEnd) {
  const std::array<unsigned char, 3> bytes = {0xFF, 0xFF, 0xFF};
  BitReader reader;
  reader.next = bytes.data();
  reader.end = bytes.data() + bytes.size();
  reader.refill();
  EXPECT_EQ(reader.take(10), 0x3FFU);
  EXPECT_EQ(reader.take(14), 0x3FFFU);
  EXPECT_FALSE(reader.overrun());
  EXPECT_EQ(reader.take(1), 0U);
  EXPECT_TRUE(reader.overrun());
}

TEST(BitReader, WholeBytesGoBack) {
  const std::array<unsigned char, 3> bytes = {1, 2, 3};
  for (unsigned taken = 0; taken <= 24; ++taken) {
    BitReader reader;
    reader.next = bytes.data();
    reader.end = bytes.data() + bytes.size();
    reader.refill();
    reader.take(taken);
    reader.toByte();
    EXPECT_EQ(reader.next - bytes.data(), (taken + 7) / 8);
  }
}

}  // namespace
