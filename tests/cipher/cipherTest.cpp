#include <Datasource/platform/cipher.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "cipher/cipherOutput.h"
#include "support/deadline.h"

using ciphertest::deciphered;
using ciphertest::enciphered;
using ciphertest::Operation;
namespace cipher = datasource::cipher;

namespace {

std::string randomBytes(std::size_t size, unsigned int seed) {
  std::mt19937 numbers(seed);
  std::string bytes(size, '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(numbers());
  }
  return bytes;
}

int differingBits(const std::string& a, const std::string& b) {
  int count = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    count +=
        std::popcount(static_cast<unsigned char>(static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i])));
  }
  return count;
}

/// Calls with outputs that hold something, and expects failure and empty outputs.
void expectRefused(Operation operation, const unsigned char* input, std::int32_t length) {
  unsigned char stale = 0;
  unsigned char* output = &stale;
  std::int32_t outputLength = 77;
  EXPECT_EQ(operation(&output, &outputLength, input, length), 0) << length;
  EXPECT_EQ(output, nullptr);
  EXPECT_EQ(outputLength, 0);
}

}  // namespace

TEST(Cipher, DecipheringGivesBackWhatWasEnciphered) {
  for (const std::size_t size : {16U, 32U, 48U, 4096U, 4190208U}) {
    const std::string plain = randomBytes(size, static_cast<unsigned int>(size));
    EXPECT_TRUE(deciphered(enciphered(plain)) == plain) << size;
  }
}

TEST(Cipher, OutputIsAsLongAsTheInput) {
  for (const std::size_t size : {16U, 32U, 160U, 65536U}) {
    EXPECT_EQ(enciphered(std::string(size, 'x')).size(), size);
    EXPECT_EQ(deciphered(std::string(size, 'x')).size(), size);
  }
}

TEST(Cipher, OneChangedBitChangesAboutHalfOfItsBlock) {
  const std::string plain(16, '\0');
  for (std::size_t bit = 0; bit < 128; ++bit) {
    std::string other = plain;
    other[bit / 8] = static_cast<char>(1U << (bit % 8));
    const int changed = differingBits(enciphered(plain), enciphered(other));
    EXPECT_GT(changed, 20) << bit;  // each bound is missed by chance once in 10^14 blocks
    EXPECT_LT(changed, 108) << bit;
  }
}

TEST(Cipher, EachBlockStandsOnItsOwn) {
  const std::string plain = randomBytes(16 * 20, 1);
  const std::string whole = enciphered(plain);
  for (std::size_t at = plain.size(); at > 0; at -= 16) {  // from the last to the first
    EXPECT_EQ(enciphered(plain.substr(at - 16, 16)), whole.substr(at - 16, 16)) << at;
    EXPECT_EQ(deciphered(whole.substr(at - 16, 16)), plain.substr(at - 16, 16)) << at;
  }
}

TEST(Cipher, EqualBlocksShowAsEqual) {
  const std::string output = enciphered(std::string(32, 'x'));
  EXPECT_EQ(output.substr(0, 16), output.substr(16, 16));
}

TEST(Cipher, PartialBlocksAreRefused) {
  const std::string bytes(100, 'x');
  const auto* const input = reinterpret_cast<const unsigned char*>(bytes.data());
  for (const std::int32_t length : {1, 15, 17, 31, 100, -1, -16}) {
    expectRefused(cipher::Encrypt, input, length);
    expectRefused(cipher::Decrypt, input, length);
  }
}

TEST(Cipher, MissingInputIsRefused) {
  expectRefused(cipher::Encrypt, nullptr, 16);
  expectRefused(cipher::Decrypt, nullptr, 16);
}

TEST(Cipher, MissingOutputIsRefused) {
  const unsigned char input[16] = {};
  unsigned char* output = nullptr;
  std::int32_t length = 0;
  EXPECT_EQ(cipher::Encrypt(nullptr, &length, input, 16), 0);
  EXPECT_EQ(cipher::Encrypt(&output, nullptr, input, 16), 0);
  EXPECT_EQ(cipher::EndEncrypt(nullptr, &length), 0);
  EXPECT_EQ(cipher::EndDecrypt(&output, nullptr), 0);
}

TEST(Cipher, NoInputGivesNoOutput) {
  EXPECT_EQ(enciphered(""), "");
  EXPECT_EQ(deciphered(""), "");
}

TEST(Cipher, InputStaysAsItWas) {
  const std::string plain = randomBytes(64, 3);
  const std::string copy = plain;
  enciphered(plain);
  deciphered(plain);
  EXPECT_EQ(plain, copy);
}

TEST(Cipher, NothingFollowsAtTheEnd) {
  enciphered(std::string(16, 'x'));
  for (const auto end : {cipher::EndEncrypt, cipher::EndDecrypt}) {
    unsigned char stale = 0;
    unsigned char* output = &stale;
    std::int32_t length = 77;
    EXPECT_EQ(end(&output, &length), 1);
    EXPECT_EQ(output, nullptr);
    EXPECT_EQ(length, 0);
  }
}

TEST(Cipher, EndChangesNoKey) {
  const std::string before = enciphered(std::string(16, 'x'));
  unsigned char* output = nullptr;
  std::int32_t length = 0;
  EXPECT_EQ(cipher::EndEncrypt(&output, &length), 1);
  EXPECT_EQ(enciphered(std::string(16, 'x')), before);
}

TEST(Cipher, NullMayBeFreed) { cipher::FreeOutData(nullptr); }

TEST(Cipher, TheOutputOfOneBlockStaysWhileAnotherThreadGetsItsOwn) {
  const support::Deadline deadline("two enciphering threads");
  const std::string plain(16, 'x');
  const std::string expected = enciphered(plain);
  unsigned char* output = nullptr;
  std::int32_t length = 0;
  ASSERT_EQ(cipher::Encrypt(&output, &length, reinterpret_cast<const unsigned char*>(plain.data()), 16), 1);
  std::thread([] { enciphered(std::string(16, 'y')); }).join();
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(output), 16), expected);
  cipher::FreeOutData(output);
}

TEST(Cipher, ThreadsMayUseItAtTheSameTime) {
  const support::Deadline deadline("four enciphering threads");
  std::vector<std::thread> threads;
  for (unsigned int seed = 0; seed < 4; ++seed) {
    threads.emplace_back([seed] {
      const std::string plain = randomBytes(4096, seed);
      const std::string expected = enciphered(plain);
      for (int i = 0; i < 200; ++i) {
        EXPECT_TRUE(enciphered(plain) == expected);
        EXPECT_TRUE(deciphered(expected) == plain);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}
