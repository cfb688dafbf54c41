#ifndef CASEFILE_OUTPUTRIGHTS_H
#define CASEFILE_OUTPUTRIGHTS_H

#include <optional>

#include "files.h"

namespace casefile {

/// The access rights of a new file: those of the file that it replaces, else no wider ones than those of the files
/// whose contents it holds, else those of any new file. Never the bits that change the user.
class OutputRights {
 public:
  /// Adds a file whose contents the new one holds. One that is no regular file, or whose system tells no rights, says
  /// nothing.
  void limitTo(const files::FileStatus& source) noexcept;

  /// Gives them to the new file, and the group that they are meant for, and with `replaced` its owner, as far as the
  /// system lets this user. Raises: std::system_error.
  void give(files::SystemFile& file, const std::optional<files::FileStatus>& replaced) const;

 private:
  std::optional<files::FileStatus> sources_;  // what all of them allow
};

}  // namespace casefile

#endif
