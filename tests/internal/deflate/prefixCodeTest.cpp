#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "deflate/littleEndian.h"
#include "deflate/prefixCode.h"
#include "inflate/canonicalCode.h"

namespace {

using datasource::form::deflating::CodeWord;
using datasource::form::deflating::makePrefixCode;
using datasource::form::inflating::CanonicalCode;
using datasource::form::inflating::Fullness;
using Frequencies = std::vector<std::uint32_t>;

std::vector<CodeWord> codeOf(const Frequencies& frequencies, unsigned longest) {
  std::vector<CodeWord> words(frequencies.size());
  makePrefixCode(frequencies, longest, words);
  return words;
}

/// Checks that the inflater's code for the same lengths is full and has the same words.
void expectFull(const std::vector<CodeWord>& words, unsigned longest) {
  std::vector<std::uint8_t> lengths;
  for (const CodeWord& word : words) {
    ASSERT_LE(word.length, longest);
    lengths.push_back(word.length);
  }
  CanonicalCode code;
  ASSERT_EQ(code.assign(lengths.data(), lengths.size()), Fullness::full);
  code.forWords(longest, [&](unsigned symbol, unsigned bits, unsigned length) {
    EXPECT_EQ(words[symbol].bits, bits) << symbol;
    EXPECT_EQ(words[symbol].length, length) << symbol;
  });
}

std::size_t bitsOf(const Frequencies& frequencies, const std::vector<CodeWord>& words) {
  std::size_t bits = 0;
  for (std::size_t symbol = 0; symbol < words.size(); ++symbol) {
    bits += std::size_t{frequencies[symbol]} * words[symbol].length;
  }
  return bits;
}

Frequencies fibonacci(std::size_t count) {
  Frequencies numbers = {1, 1};
  while (numbers.size() < count) {
    numbers.push_back(numbers.back() + numbers[numbers.size() - 2]);
  }
  return numbers;
}

TEST(PrefixCode, IsFullForAnyFrequencies) {
  std::mt19937 random(3);
  for (unsigned round = 0; round < 2000; ++round) {
    const std::array<unsigned, 3> limits = {7, 14, 15};
    const unsigned longest = limits[round % limits.size()];
    Frequencies frequencies(longest == 7 ? 19 : 2 + random() % 285);
    for (std::uint32_t& frequency : frequencies) {
      frequency = static_cast<std::uint32_t>(random() % 3 == 0 ? 0 : random() % 60'000 >> random() % 16);
    }
    expectFull(codeOf(frequencies, longest), longest);
  }
}

TEST(PrefixCode, WordsTooLongAreCut) {
  for (const unsigned longest : {5U, 7U, 14U, 15U}) {
    expectFull(codeOf(fibonacci(30), longest), longest);
  }
}

TEST(PrefixCode, OneSymbolOrNoneGetsACodeOfTwoWords) {
  for (const Frequencies& few :
       {Frequencies{0, 0, 0}, Frequencies{9, 0, 0}, Frequencies{0, 9, 0}, Frequencies{0, 0, 9}}) {
    expectFull(codeOf(few, 15), 1);
  }
}

TEST(PrefixCode, FrequentSymbolsHaveTheShorterWords) {
  const Frequencies frequencies = {1, 100, 3, 0, 50, 7};
  const auto words = codeOf(frequencies, 15);
  EXPECT_EQ(words[1].length, 1);
  EXPECT_EQ(words[4].length, 2);
  EXPECT_EQ(words[3].length, 0);
  EXPECT_EQ(bitsOf(frequencies, words), 100U * 1 + 50 * 2 + 7 * 3 + 3 * 4 + 1 * 4);
}

TEST(PrefixCode, EquallyFrequentSymbolsHaveWordsOfEqualLength) {
  for (const CodeWord& word : codeOf(Frequencies(256, 17), 15)) {
    EXPECT_EQ(word.length, 8);
  }
}

TEST(LittleEndian, IsTheOrderOfBytes) {
  std::array<unsigned char, 9> bytes{};
  datasource::form::deflating::store64(bytes.data(), 0x8F7E6D5C4B3A2918);
  EXPECT_EQ(bytes, (std::array<unsigned char, 9>{0x18, 0x29, 0x3A, 0x4B, 0x5C, 0x6D, 0x7E, 0x8F, 0}));
  EXPECT_EQ(datasource::form::deflating::load64(bytes.data()), 0x8F7E6D5C4B3A2918);
  EXPECT_EQ(datasource::form::deflating::load32(bytes.data() + 4), 0x8F7E6D5CU);
}

}  // namespace
