#ifndef CASEFILE_LOCKEDFILE_H
#define CASEFILE_LOCKEDFILE_H

#include <cstddef>
#include <string>

#include "blockTarget.h"
#include "journal/fileLock.h"

namespace casefile {

/// A data file that nobody else appends to or writes, as the target of blocks.
///
/// Threads: one at a time.
class LockedFile : public BlockTarget {
 public:
  /// Raises: Error: `busy` when somebody else appends to it or writes it; `notADataFile` when it is no regular file;
  ///   `system`.
  explicit LockedFile(std::string name);

  const std::string& name() const noexcept override { return name_; }
  void writeAt(const void* bytes, std::size_t count, int64 position) override;
  /// Returns when the contents are on the disk. Raises: Error (`system`).
  void sync();
  /// Raises: Error (`system`) when the name leads to another file by now.
  void requireName() const;

  FileLock& lock() noexcept { return lock_; }

 private:
  std::string name_;
  FileLock lock_;
};

}  // namespace casefile

#endif
