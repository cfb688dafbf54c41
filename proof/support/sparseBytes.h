#ifndef PROOF_SPARSEBYTES_H
#define PROOF_SPARSEBYTES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace proof {

using Bytes = std::vector<unsigned char>;

/// Returns: the bytes as the library's calls take them, as long as they live.
inline std::span<const std::byte> bytesOf(const Bytes& bytes) { return std::as_bytes(std::span(bytes)); }

/// The bytes of a file that may be long and have holes, which take no room.
class SparseBytes {
 public:
  SparseBytes() = default;
  SparseBytes(const Bytes& bytes);  // NOLINT(google-explicit-constructor): a file without holes

  std::int64_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  /// What is added is a hole.
  void resize(std::int64_t size);

  /// Returns: how many bytes there are; none in front of the file.
  std::size_t read(unsigned char* to, std::size_t count, std::int64_t position) const;
  /// Returns: the bytes from a position on, fewer at the end.
  Bytes read(std::size_t count, std::int64_t position) const;
  /// Requires: position >= 0. Zeros that lie in a hole leave it one.
  void write(const unsigned char* bytes, std::size_t count, std::int64_t position);
  /// Returns: the position of the first byte from `position` on that is not zero; the end when none is.
  std::int64_t nextData(std::int64_t position) const;

  /// Raises: std::logic_error when it is longer than 64 MiB.
  Bytes bytes() const;
  /// Returns: how many bytes of memory it takes, about.
  std::size_t room() const noexcept { return pages_.size() * kPage; }

  bool operator==(const SparseBytes& other) const;

 private:
  static constexpr std::size_t kPage = 4096;
  using Page = std::array<unsigned char, kPage>;

  std::int64_t size_ = 0;
  std::map<std::int64_t, Page> pages_;  // by their numbers; behind the end they hold zeros
};

}  // namespace proof

#endif
