#ifndef CASEFILE_NAMEDREADER_H
#define CASEFILE_NAMEDREADER_H

#include <cstddef>
#include <string>

#include "Datasource/platform/types.h"
#include "fileNames.h"
#include "randomAccessReader.h"

namespace casefile::program {

/// A random-access reader of bytes, and the name to call them by.
///
/// Threads: one at a time.
class NamedReader : public datasource::form::RandomAccessReader {
 public:
  virtual const std::string& name() const noexcept = 0;
  /// Returns: what the system knows of the file; of no file, nothing.
  virtual files::FileStatus status() const { return {}; }
};

/// A file as it lies on the disk.
class FileReader : public NamedReader {
 public:
  /// Raises: Failure (kRefused) when the file cannot be opened or is no regular file.
  explicit FileReader(std::string name);
  files::FileStatus status() const override { return file_.status(); }
  int descriptor() const noexcept { return file_.descriptor(); }
  const std::string& name() const noexcept override { return name_; }
  int64 size() const override { return size_; }
  /// Raises: Failure (kRefused) when the file cannot be read.
  std::size_t read(void* buffer, std::size_t count, int64 position) override;

 private:
  std::string name_;
  files::SystemFile file_;
  int64 size_;
};

}  // namespace casefile::program

#endif
