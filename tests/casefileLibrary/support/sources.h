#ifndef CASEFILE_TESTS_SOURCES_H
#define CASEFILE_TESTS_SOURCES_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "casefile/error.h"
#include "casefile/randomAccessFile.h"

namespace support {

/// Bytes in memory, read the way a test says.
class ScriptedSource : public casefile::RandomAccessFile {
 public:
  explicit ScriptedSource(std::string bytes) : bytes_(std::move(bytes)) {}

  /// Asked before each read, by the thread that reads; what it throws passes through.
  std::function<void(std::int64_t position)> beforeRead = [](std::int64_t) {};
  std::size_t mostAtOnce = SIZE_MAX;  ///< a read delivers no more than this
  mutable std::atomic<std::size_t> reads = 0;

  std::string name() const override { return "scripted"; }
  std::int64_t size() const override { return static_cast<std::int64_t>(bytes_.size()); }
  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const override {
    ++reads;
    beforeRead(position);
    if (position < 0 || position >= size()) {
      return 0;
    }
    const auto start = static_cast<std::size_t>(position);
    const std::size_t count = std::min({buffer.size(), bytes_.size() - start, mostAtOnce});
    std::memcpy(buffer.data(), bytes_.data() + start, count);
    return count;
  }

 private:
  std::string bytes_;
};

/// Returns: the Error that a call raises; one without a kind's meaning, saying "no error", when there is none.
inline casefile::Error errorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const casefile::Error& error) {
    return error;
  }
  return {casefile::ErrorKind::system, "no error", {}};
}

inline std::span<std::byte> writable(std::string& bytes) { return std::as_writable_bytes(std::span(bytes)); }

inline std::string text(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace support

#endif
