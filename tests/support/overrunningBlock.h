#ifndef DATASOURCE_TESTS_OVERRUNNINGBLOCK_H
#define DATASOURCE_TESTS_OVERRUNNINGBLOCK_H

#include <cstddef>
#include <stdexcept>
#include <string>

#include "support/compressedImage.h"

namespace support {

/// Bytes that no compressor makes smaller, but for a run of one letter that makes up for the last byte that counts: a
/// block of `length` whose compressed form has `over` bytes more than a block.
inline std::string overrunning(std::size_t length, std::size_t over) {
  const std::string noise = randomBytes(length, 11);
  std::size_t run = 0;
  for (int attempt = 0; attempt < 60; ++attempt) {
    std::string bytes = noise;
    bytes.replace(bytes.size() - run, run, run, 'r');
    const std::size_t size = zipped(bytes).size();
    if (size == kBlock + over) {
      return bytes;
    }
    const std::size_t more = run + size;
    run = more > kBlock + over ? more - kBlock - over : 0;
  }
  throw std::runtime_error("test image: no such block found");
}

}  // namespace support

#endif
