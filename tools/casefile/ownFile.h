#ifndef CASEFILE_OWNFILE_H
#define CASEFILE_OWNFILE_H

#include <optional>
#include <string>

#include "platform/system.h"

namespace casefile {

/// A file that this process has made and has open, and that goes with the object.
///
/// Raises: std::system_error with the errno value of the call that failed.
class OwnFile {
 public:
  /// Makes a new file, for this user alone; a file of that name is an error (EEXIST).
  explicit OwnFile(std::string name);
  /// Removes the file, unless the name leads to another one by now.
  ~OwnFile();
  OwnFile(const OwnFile&) = delete;
  OwnFile& operator=(const OwnFile&) = delete;

  const std::string& name() const noexcept { return name_; }
  platform::File& contents() { return *file_; }
  /// Gives the file another name, which must be free (EEXIST).
  void rename(const std::string& name);
  /// Removes the file now, as the destructor does.
  void remove();
  /// The file stays.
  void leave() noexcept { mine_ = false; }

 private:
  std::string name_;
  std::optional<platform::File> file_;  // closed where the system neither renames nor removes open files
  platform::FileIdentity identity_;
  bool mine_ = true;
};

}  // namespace casefile

#endif
