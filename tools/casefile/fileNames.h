#ifndef CASEFILE_FILENAMES_H
#define CASEFILE_FILENAMES_H

#include <filesystem>
#include <string>

namespace casefile {

/// Returns: a file's path from its name in UTF-8 (on POSIX: its bytes, taken as they are).
inline std::filesystem::path pathOf(const std::string& name) {
  return std::filesystem::path(std::u8string(name.begin(), name.end()));
}

/// The name that stands for standard input or output.
inline constexpr char kStandardStream[] = "-";

}  // namespace casefile

#endif
