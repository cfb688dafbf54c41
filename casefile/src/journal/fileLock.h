#ifndef CASEFILE_JOURNAL_FILELOCK_H
#define CASEFILE_JOURNAL_FILELOCK_H

#include <optional>
#include <string>

#include "files.h"

namespace casefile {

/// A lock of one file, whatever its names are, against everybody else who takes it; it ends with the object or the
/// process. Locked for writing, it keeps out the streams, too.
///
/// Raises: std::system_error with the errno value of the call that failed.
class FileLock {
 public:
  /// Raises: EBUSY when the file is locked, EINVAL when it is no regular file, or what opening it for reading and
  ///   writing meets.
  explicit FileLock(const std::string& name);

  /// The file's bytes, for reading only.
  const files::SystemFile& contents() const noexcept { return file_; }
  files::FileStatus status() const { return file_.status(); }
  files::FileIdentity identity() const { return file_.identity(); }
  /// Returns: the id of another process that has a lock on the file, 0 when none is known.
  int holder() const { return file_.lockHolder(); }
  /// Returns: whether the name leads to this file.
  bool isNamed(const std::string& name) const;

  /// Opens the file for writing, whatever has its name by now, and locks out all others who write.
  /// Raises: EBUSY or EACCES when somebody writes.
  void lockForWriting();
  /// The file's bytes, for writing. Requires: it was locked for writing.
  files::SystemFile& writing() noexcept { return *writing_; }

 private:
  std::string name_;
  files::SystemFile file_;
  std::optional<files::SystemFile> writing_;
};

}  // namespace casefile

#endif
