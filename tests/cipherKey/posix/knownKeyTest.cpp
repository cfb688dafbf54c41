#include <gtest/gtest.h>
#include <unistd.h>

#include <initializer_list>
#include <string>

#include "cipher/cipherOutput.h"

// The bundled cipher under a key that is known: a program of its own, because the key is made once.

/// Stands in the place of the system's generator: the key is 00 01 02 ... 1f.
extern "C" int getentropy(void* buffer, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    static_cast<unsigned char*>(buffer)[i] = static_cast<unsigned char>(i);
  }
  return 0;
}

namespace {

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) {
    text.push_back(static_cast<char>(value));
  }
  return text;
}

TEST(CipherWithAKnownKey, IsAesWith256Bits) {
  // The example of the standard that defines the cipher.
  const std::string plain =
      bytes({0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff});
  const std::string expected =
      bytes({0x8e, 0xa2, 0xb7, 0xca, 0x51, 0x67, 0x45, 0xbf, 0xea, 0xfc, 0x49, 0x90, 0x4b, 0x49, 0x60, 0x89});
  EXPECT_EQ(ciphertest::enciphered(plain), expected);
  EXPECT_EQ(ciphertest::enciphered(plain + plain), expected + expected);
  EXPECT_EQ(ciphertest::deciphered(expected), plain);
}

}  // namespace
