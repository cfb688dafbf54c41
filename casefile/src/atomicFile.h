#ifndef CASEFILE_ATOMICFILE_H
#define CASEFILE_ATOMICFILE_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "blockTarget.h"
#include "casefile/error.h"
#include "files.h"
#include "outputRights.h"

namespace casefile {

/// A new file that is written beside its name and gets it when it is complete. Unless that happens, nothing is left
/// behind and what had the name has it still. Until then nobody but this user may read it.
///
/// Threads: writeAt may be called by several at once; all else by one.
class AtomicFile : public BlockTarget {
 public:
  struct Rules {
    bool replace = true;
    bool sync = false;  // the file is on the disk before it gets its name, and the name behind it
  };

  /// Raises: Error: `system`; `usage` for a name that no file can have.
  AtomicFile(std::string name, Rules rules);
  ~AtomicFile() override { discard(); }

  const std::string& name() const noexcept override { return name_; }
  void writeAt(const void* bytes, std::size_t count, int64 position) override;

  /// The file will have no wider access rights than `source`, whose contents it holds; see OutputRights.
  void limitRightsTo(const files::FileStatus& source) noexcept { rights_.limitTo(source); }
  /// The file will have the times of `source`, unless that is no regular file.
  void takeTimesOf(const files::FileStatus& source) noexcept;

  /// Lets `write` write the contents and gives the file its name. An Error of either tells what stays of the file.
  void make(const std::function<void()>& write);
  /// Gives the file its access rights, its times and its name. Raises: Error (`system`).
  void commit();
  /// Removes it. Nothing happens after commit().
  void discard() noexcept;
  /// Returns: why discard() could not remove the working file, if it could not.
  const std::optional<Error>& leftBehind() const noexcept { return leftBehind_; }

 private:
  void makeWorkingFile();
  std::optional<files::FileStatus> replacedFile() const;
  void giveTimes();
  void giveName();
  bool mayBeNamed(const std::string& name) const noexcept;
  bool isNamed(const std::string& name) const;

  std::string name_;    // as the program gave it
  std::string target_;  // where links lead to
  Rules rules_;
  std::optional<files::FileStatus> replaced_;
  OutputRights rights_;
  std::optional<files::FileStatus> timesLike_;
  std::string working_;  // empty once the file has its name
  std::optional<files::SystemFile> file_;
  datasource::platform::FileIdentity identity_;
  std::optional<Error> leftBehind_;
};

}  // namespace casefile

#endif
