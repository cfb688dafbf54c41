#ifndef CASEFILE_BYTESOURCE_H
#define CASEFILE_BYTESOURCE_H

#include <cstddef>
#include <string>

#include "Datasource/platform/types.h"
#include "fileNames.h"
#include "randomAccessReader.h"

namespace casefile::program {

/// Bytes that can be read at any file position, and the name to call them by.
///
/// Threads: one at a time.
class ByteSource : public datasource::form::RandomAccessReader {
 public:
  virtual const std::string& name() const noexcept = 0;
  /// Returns: what the system knows of the file; of no file, nothing.
  virtual files::FileStatus status() const { return {}; }
};

/// A file as it lies on the disk.
class FileSource : public ByteSource {
 public:
  /// Raises: Failure (kRefused) when the file cannot be opened or is no regular file.
  explicit FileSource(std::string name);
  files::FileStatus status() const override { return file_.status(); }
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
