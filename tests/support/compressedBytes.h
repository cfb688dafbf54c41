#ifndef DATASOURCE_TESTS_COMPRESSEDBYTES_H
#define DATASOURCE_TESTS_COMPRESSEDBYTES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

#include "Datasource/platform/types.h"

namespace support {

inline constexpr std::size_t kBlock = 4'190'208;
inline constexpr int64 kBlockLength = 4'190'208;

/// Case data that tells its own place and compresses well: every stretch of 512 bytes, counted from
/// logical position 0, begins with its number in sixteen hexadecimal digits; a letter fills the rest.
inline std::string caseBytes(int64 position, std::size_t length) {
  constexpr int64 kStretch = 512;
  constexpr std::size_t kDigits = 16;
  const auto skip = static_cast<std::size_t>(position % kStretch);
  std::string bytes;
  bytes.reserve(length + 2 * kStretch);
  for (int64 number = position / kStretch; bytes.size() < length + skip; ++number) {
    for (std::size_t i = 0; i < kDigits; ++i) {
      bytes += "0123456789abcdef"[(number >> (4 * (kDigits - 1 - i))) & 15];
    }
    bytes.append(kStretch - kDigits, static_cast<char>('A' + number % 26));
  }
  return bytes.substr(skip, length);
}

/// The dictionary part that test files have in front of their case data.
inline std::string dictionaryBytes(int64 length) {
  std::string bytes(static_cast<std::size_t>(length), '.');
  bytes.replace(0, std::min<std::size_t>(bytes.size(), 10), "dictionary", 0, std::min<std::size_t>(bytes.size(), 10));
  return bytes;
}

/// Bytes that no compressor makes smaller, the same for the same seed.
inline std::string randomBytes(std::size_t length, unsigned int seed) {
  std::mt19937_64 generator(seed);
  std::string bytes;
  bytes.reserve(length + 8);
  while (bytes.size() < length) {
    std::uint64_t number = generator();
    for (int i = 0; i < 8; ++i, number >>= 8) {
      bytes += static_cast<char>(number & 255);
    }
  }
  bytes.resize(length);
  return bytes;
}

/// Compares long byte strings; a difference is told by its place, not by printing both.
inline ::testing::AssertionResult sameBytes(const std::string& actual, const std::string& expected) {
  if (actual == expected) {
    return ::testing::AssertionSuccess();
  }
  const std::size_t common = std::min(actual.size(), expected.size());
  const auto place = static_cast<std::size_t>(
      std::mismatch(actual.begin(), actual.begin() + static_cast<std::ptrdiff_t>(common), expected.begin()).first -
      actual.begin());
  return ::testing::AssertionFailure() << actual.size() << " bytes, expected " << expected.size()
                                       << "; first difference at " << place << ": \"" << actual.substr(place, 24)
                                       << "\", expected \"" << expected.substr(place, 24) << '"';
}

}  // namespace support

#endif
