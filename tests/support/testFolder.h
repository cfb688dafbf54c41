#ifndef DATASOURCE_TESTS_TESTFOLDER_H
#define DATASOURCE_TESTS_TESTFOLDER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>

#include "Datasource/platform/extNameStr.h"
#include "Datasource/platform/types.h"

namespace support {

/// The size of a stream's buffer and of a compressed block.
inline constexpr int64 blockSize = 4'190'208;

/// Bytes that tell their own place: the 8 bytes at a position p that is a multiple of 8 are p / 8 in
/// eight hexadecimal digits.
inline std::string selfDescribing(int64 position, std::size_t length) {
  char digits[8];
  int64 rest = position / 8;
  for (int i = 7; i >= 0; --i, rest >>= 4) {
    digits[i] = "0123456789abcdef"[rest & 15];
  }
  const auto skip = static_cast<std::size_t>(position % 8);
  std::string bytes(length + skip + 8, '\0');
  for (char* p = bytes.data(); p <= bytes.data() + length + skip; p += 8) {
    std::memcpy(p, digits, 8);
    int i = 7;
    for (; i > 0 && digits[i] == 'f'; --i) {
      digits[i] = '0';
    }
    digits[i] = static_cast<char>(digits[i] == '9' ? 'a' : digits[i] + 1);
  }
  bytes.erase(0, skip);
  bytes.resize(length);
  return bytes;
}

inline ExtNameStr named(const std::string& generic) {
  ExtNameStr name;
  name.SetGeneric(generic);
  return name;
}

/// A folder of its own for one test, removed with all that is in it. Its operations are the words in
/// which tests speak of files; a file that cannot be handled raises std::runtime_error.
class TestFolder {
 public:
  TestFolder() {
    std::random_device random;
    std::error_code error;
    do {
      path_ = std::filesystem::temp_directory_path() / ("datasource-test-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_, error) && !error);
    demand(!error, path_.string(), "create");
  }
  ~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  /// The generic name of the file `name` in this folder.
  std::string path(const std::string& name) const { return path_.generic_string() + "/" + name; }
  const std::filesystem::path& folder() const { return path_; }

  /// Makes a file of exactly these bytes. Returns: its path.
  std::string writePlain(const std::string& name, const std::string& bytes) const {
    std::ofstream out(path_ / name, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    demand(out.flush().good(), name, "write");
    return path(name);
  }
  /// Makes a file of self-describing bytes. Returns: its path.
  std::string writeDescribing(const std::string& name, std::size_t length) const {
    return writePlain(name, selfDescribing(0, length));
  }
  /// Puts bytes at a position of an existing file, behind a hole if that lies beyond its end.
  void patch(const std::string& name, int64 position, const std::string& bytes) const {
    std::fstream out(path_ / name, std::ios::binary | std::ios::in | std::ios::out);
    out.seekp(static_cast<std::streamoff>(position));
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    demand(out.flush().good(), name, "patch");
  }
  void patchByte(const std::string& name, int64 position, unsigned char value) const {
    patch(name, position, std::string(1, static_cast<char>(value)));
  }
  unsigned char byteAt(const std::string& name, int64 position) const {
    return static_cast<unsigned char>(readAt(name, position, 1).at(0));
  }
  void truncateTo(const std::string& name, int64 length) const {
    std::filesystem::resize_file(path_ / name, static_cast<std::uintmax_t>(length));
  }
  std::string readWhole(const std::string& name) const {
    return readAt(name, 0, static_cast<std::size_t>(sizeOf(name)));
  }
  /// Up to `length` bytes at a position.
  std::string readAt(const std::string& name, int64 position, std::size_t length) const {
    std::ifstream in(path_ / name, std::ios::binary);
    demand(in.is_open(), name, "open");
    std::string bytes(length, '\0');
    in.seekg(static_cast<std::streamoff>(position));
    in.read(bytes.data(), static_cast<std::streamsize>(length));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    return bytes;
  }
  int64 sizeOf(const std::string& name) const { return static_cast<int64>(std::filesystem::file_size(path_ / name)); }
  bool exists(const std::string& name) const { return std::filesystem::exists(path_ / name); }
  void copy(const std::string& from, const std::string& to) const {
    std::filesystem::remove(path_ / to);  // one compiler's library does not overwrite, whatever it is told
    std::filesystem::copy_file(path_ / from, path_ / to);
  }

 private:
  static void demand(bool good, const std::string& name, const char* what) {
    if (!good) {
      throw std::runtime_error(std::string("test folder: cannot ") + what + " " + name);
    }
  }

  std::filesystem::path path_;
};

}  // namespace support

#endif
