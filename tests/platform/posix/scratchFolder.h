#ifndef DATASOURCE_TESTS_PLATFORM_SCRATCHFOLDER_H
#define DATASOURCE_TESTS_PLATFORM_SCRATCHFOLDER_H

#include <Datasource/platform/cRuntime.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace platformtest {

inline constexpr int readOnly = _O_RDONLY | _O_BINARY | _O_RANDOM;
inline constexpr int update = _O_RDWR | _O_BINARY | _O_RANDOM;
inline constexpr int create = _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY | _O_RANDOM;
inline constexpr int append = _O_WRONLY | _O_APPEND | _O_CREAT | _O_BINARY | _O_RANDOM;

/// A folder of its own for one test, gone with it.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "datasource-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no scratch folder");
    }
    path_ = pattern;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string path(const std::string& name) const { return path_ + "/" + name; }

  /// Writes a file. Returns: its name.
  std::string write(const std::string& name, const std::string& contents) const {
    std::ofstream(path(name), std::ios::binary) << contents;
    return path(name);
  }

 private:
  std::string path_;
};

inline std::string contentsOf(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline bool exists(const std::string& name) { return std::filesystem::exists(std::filesystem::symlink_status(name)); }

inline int openFile(const std::string& name, int oflag) {
  return datasource::platform::cRuntime()._sopen(name.c_str(), oflag, _SH_DENYWR, _S_IREAD | _S_IWRITE);
}

/// A descriptor that closes itself.
class Descriptor {
 public:
  explicit Descriptor(int value) : value_(value) {}
  Descriptor(const std::string& name, int oflag) : value_(openFile(name, oflag)) {}
  ~Descriptor() { close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return value_; }
  bool isOpen() const { return value_ != -1; }
  int close() {
    if (value_ == -1) {
      return 0;
    }
    const int result = datasource::platform::cRuntime()._close(value_);
    value_ = -1;
    return result;
  }

 private:
  int value_;
};

}  // namespace platformtest

#endif
