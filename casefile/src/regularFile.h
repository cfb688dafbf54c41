#ifndef CASEFILE_REGULARFILE_H
#define CASEFILE_REGULARFILE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "casefile/randomAccessFile.h"
#include "files.h"

namespace casefile {

/// A regular file of the system, open for reading.
class RegularFile : public RandomAccessFile {
 public:
  /// Raises: as openFile().
  RegularFile(files::SystemFile file, std::string name);

  std::string name() const override { return name_; }
  std::int64_t size() const override { return size_; }
  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const override;
  std::int64_t nextData(std::int64_t position) const override { return file_.nextData(position); }
  /// Raises: Error (`system`).
  files::FileStatus status() const;

 private:
  files::SystemFile file_;
  std::string name_;
  std::int64_t size_ = 0;
};

/// As openFile(), for whoever wants the status of what was opened: the name may be another file's by then.
std::shared_ptr<const RegularFile> openRegularFile(const std::string& name);

/// Reads through a descriptor of the library's own, whose position nobody uses, and which outlives the result.
/// Raises: as fileFromDescriptor().
std::shared_ptr<const RandomAccessFile> fileThrough(const files::SystemFile& file, std::string name);

}  // namespace casefile

#endif
