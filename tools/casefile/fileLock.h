#ifndef CASEFILE_FILELOCK_H
#define CASEFILE_FILELOCK_H

#include <functional>
#include <string>

#include "fileNames.h"

namespace casefile::program {

/// A lock of one file, whatever its names are, against everybody else who takes it. It ends with the object or the
/// process; it does not hinder the library from opening the file.
///
/// Raises: std::system_error with the errno value of the call that failed.
class FileLock {
 public:
  /// Raises: EBUSY when the file is locked, EINVAL when it is no regular file, or what opening it for reading and
  ///   writing meets.
  explicit FileLock(const std::string& name);

  /// The file's bytes, for reading only.
  files::SystemFile& contents() noexcept { return file_; }
  files::FileStatus status() const { return file_.status(); }
  files::FileIdentity identity() const { return file_.identity(); }
  /// Returns: the id of another process that has a lock on the file, 0 when none is known.
  int holder() const { return file_.lockHolder(); }
  /// Returns: whether the name leads to this file.
  bool isNamed(const std::string& name) const;
  /// Returns: a name under which the library opens this file, whatever has its own by now where the system can
  ///   do that.
  std::string nameToOpen() const { return file_.nameToOpen(name_); }
  /// Lets `work` write into the file, whatever has its name by now.
  /// Requires: this process has it open for writing nowhere else.
  /// Raises: EBUSY or EACCES when another process has it open for writing; what `work` raises.
  void update(const std::function<void(files::SystemFile&)>& work);
  /// Returns when the contents are on the disk. Requires: as for update.
  void sync();

 private:
  std::string name_;
  files::SystemFile file_;
};

}  // namespace casefile::program

#endif
