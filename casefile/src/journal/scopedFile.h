#ifndef CASEFILE_JOURNAL_SCOPEDFILE_H
#define CASEFILE_JOURNAL_SCOPEDFILE_H

#include <optional>
#include <string>

#include "files.h"

namespace casefile {

/// A file that this process has made and has open, and that goes with the object.
///
/// Raises: std::system_error with the errno value of the call that failed.
class ScopedFile {
 public:
  /// Makes a new file, for this user alone; whatever has the name is an error (EEXIST).
  explicit ScopedFile(std::string name);
  /// Removes the file, unless the name leads to another one by now.
  ~ScopedFile();
  ScopedFile(const ScopedFile&) = delete;
  ScopedFile& operator=(const ScopedFile&) = delete;

  const std::string& name() const noexcept { return name_; }
  files::SystemFile& contents() noexcept { return *file_; }
  /// Gives the file another name, which must be free (EEXIST).
  /// Raises: ENOENT when the old name leads to another file by now; EEXIST, too, when the new one does.
  void rename(const std::string& name);
  /// Removes the file now, as the destructor does.
  void remove();
  /// The file stays.
  void leave() noexcept { mine_ = false; }

 private:
  bool isAt(const std::string& name) const;

  std::string name_;
  std::optional<files::SystemFile> file_;
  files::FileIdentity identity_;
  bool mine_ = true;
};

}  // namespace casefile

#endif
