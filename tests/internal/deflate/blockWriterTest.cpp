#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "deflate/blockWriter.h"
#include "inflate/alphabets.h"
#include "support/compressedBytes.h"

namespace {

using namespace datasource::form::deflating;

const unsigned char* bytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

/// A block of bytes that are all literals, behind some bits of another one.
class BlockOfLiterals : public ::testing::Test {
 protected:
  /// Writes it into so many bytes. Returns: the bytes that it filled; none when it had no room.
  std::vector<unsigned char> written(const std::string& plain, unsigned waiting, std::size_t room) {
    tokens->clear();
    for (std::size_t at = 0; at < plain.size(); at += kRun) {
      tokens->addLiterals(bytesOf(plain) + at, bytesOf(plain) + std::min(at + kRun, plain.size()));
    }
    constexpr std::size_t kBehind = 16;
    std::vector<unsigned char> bytes(room + kBehind, kMark);
    BitWriter writer{bytes.data(), bytes.data() + room, 0, waiting};
    const bool done = blocks->write(*tokens, {bytesOf(plain), plain.size()}, true, writer);
    EXPECT_TRUE(std::all_of(bytes.end() - kBehind, bytes.end(), [](unsigned char byte) { return byte == kMark; }))
        << "written behind the room";
    writer.toByte();
    bytes.resize(done ? static_cast<std::size_t>(writer.next - bytes.data()) : 0);
    return bytes;
  }

  static constexpr std::size_t kRun = 1000;
  static constexpr unsigned char kMark = 0xA5;
  std::unique_ptr<Tokens> tokens = std::make_unique<Tokens>();
  std::unique_ptr<BlockWriter> blocks = std::make_unique<BlockWriter>();
};

// Its kind takes three bits, then a byte begins, and each piece of at most 65,535 bytes has four bytes more.
TEST_F(BlockOfLiterals, ThatIsStoredNeedsExactlyItsRoomWhereverInAByteItBegins) {
  for (const std::size_t length : {1000U, 65'535U, 65'536U}) {
    const std::string noise = support::randomBytes(length, 3);
    for (unsigned waiting = 0; waiting < 8; ++waiting) {
      const std::size_t size = (waiting + 3 + 7) / 8 + 4 + (length > 65'535 ? 5 : 0) + length;
      EXPECT_EQ(written(noise, waiting, size).size(), size) << length << ", " << waiting;
      EXPECT_EQ(written(noise, waiting, size - 1).size(), 0U) << length << ", " << waiting;
    }
  }
}

/// Returns: so many bits of the bytes, from bit `at` on.
unsigned bitsOf(const std::vector<unsigned char>& bytes, std::size_t at, unsigned count) {
  unsigned value = 0;
  for (unsigned i = 0; i < count; ++i, ++at) {
    value |= (bytes.at(at / 8) >> (at % 8) & 1U) << i;
  }
  return value;
}

// The lengths of the head's own words stand in an order of their likelihood, so that those at its end may be left out.
TEST_F(BlockOfLiterals, TellsNoLengthsOfItsHeadBehindTheLastThatOccurs) {
  for (const unsigned letters : {2U, 3U, 20U, 60U}) {
    std::string plain = support::randomBytes(5000, letters);
    std::transform(plain.begin(), plain.end(), plain.begin(),
                   [=](char byte) { return static_cast<char>('a' + static_cast<unsigned char>(byte) % letters); });
    const std::vector<unsigned char> block = written(plain, 0, 6000);
    ASSERT_FALSE(block.empty());
    ASSERT_EQ(bitsOf(block, 0, 3), 5U) << "the last block, with codes of its own";
    const std::size_t told = 4 + bitsOf(block, 13, 4);
    EXPECT_LT(told, datasource::form::inflating::kHeadOrder.size()) << letters;
    EXPECT_NE(bitsOf(block, 17 + 3 * (told - 1), 3), 0U) << letters;
  }
}

}  // namespace
