#ifndef CASEFILE_SOURCEREADER_H
#define CASEFILE_SOURCEREADER_H

#include <cstddef>
#include <memory>
#include <string>

#include "casefile/randomAccessFile.h"
#include "randomAccessReader.h"

namespace casefile {

/// A RandomAccessFile as the form room reads it: short reads are gone on with, and a file that a program
/// supplied is not believed to keep its promises.
///
/// Threads: any number, as the file itself.
class SourceReader : public datasource::form::RandomAccessReader {
 public:
  /// Raises: Error (`usage`) for no file, or one whose length is negative; what its size() raises.
  explicit SourceReader(std::shared_ptr<const RandomAccessFile> file);

  const std::shared_ptr<const RandomAccessFile>& file() const noexcept { return file_; }
  const std::string& name() const noexcept { return name_; }
  int64 size() const override { return size_; }
  /// Raises: Error (`usage`) when the file says that it read more than it was asked to; what its readAt raises.
  std::size_t read(void* buffer, std::size_t count, int64 position) override;
  /// Returns: the first position from `position` to the end that may hold another byte than zero; the end when none
  ///   does. Raises: what the file's nextData raises.
  int64 nextData(int64 position) const override;

 private:
  std::shared_ptr<const RandomAccessFile> file_;
  std::string name_;
  int64 size_;
};

}  // namespace casefile

#endif
