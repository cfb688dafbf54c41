#ifndef CASEFILE_FILEREADER_H
#define CASEFILE_FILEREADER_H

#include <string>

#include "fileNames.h"

namespace casefile::program {

/// A file that is open for reading, and the name to call it by.
class FileReader {
 public:
  /// Raises: Failure (kRefused) when the file cannot be opened or is no regular file.
  explicit FileReader(std::string name);
  const std::string& name() const noexcept { return name_; }
  files::FileStatus status() const { return file_.status(); }
  int descriptor() const noexcept { return file_.descriptor(); }

 private:
  std::string name_;
  files::SystemFile file_;
};

/// Raises: Failure (kRefused) when a file cannot be opened or is no regular file.
void requireOpenable(const std::string& name);

}  // namespace casefile::program

#endif
