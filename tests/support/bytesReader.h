#ifndef DATASOURCE_TESTS_BYTESREADER_H
#define DATASOURCE_TESTS_BYTESREADER_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

#include "randomAccessReader.h"

namespace support {

/// A file's bytes in memory, which outlive the reader.
class BytesReader final : public datasource::form::RandomAccessReader {
 public:
  explicit BytesReader(const std::string& bytes) : bytes_(bytes) {}
  int64 size() const override { return static_cast<int64>(bytes_.size()); }
  std::size_t read(void* buffer, std::size_t count, int64 position) override {
    if (position < 0 || position >= size()) {
      return 0;
    }
    const std::size_t got = std::min(count, bytes_.size() - static_cast<std::size_t>(position));
    std::memcpy(buffer, bytes_.data() + position, got);
    return got;
  }

 private:
  const std::string& bytes_;
};

}  // namespace support

#endif
