#ifndef CASEFILE_ATOMICFILE_H
#define CASEFILE_ATOMICFILE_H

#include <cstddef>
#include <optional>
#include <string>

#include "blockTarget.h"
#include "systemFile.h"

namespace casefile {

/// A new file that is written beside its name and gets it when it is complete. Unless that happens, nothing is left
/// behind and what had the name has it still.
///
/// Threads: writeAt may be called by several at once; all else by one.
class AtomicFile : public BlockTarget {
 public:
  struct Rules {
    bool replace = true;
    bool sync = false;
  };

  /// Raises: Error: `system`; `usage` for a name that no file can have.
  AtomicFile(std::string name, Rules rules);
  ~AtomicFile() override { discard(); }

  const std::string& name() const noexcept override { return name_; }
  void writeAt(const void* bytes, std::size_t count, int64 position) override;
  /// Gives the file its name. Raises: Error (`system`).
  void commit();
  /// Removes it. Nothing happens after commit().
  void discard() noexcept;

 private:
  void makeWorkingFile();
  void giveRights();
  void giveName();
  bool isNamed(const std::string& name) const;

  std::string name_;    // as the program gave it
  std::string target_;  // where links lead to
  Rules rules_;
  std::optional<datasource::platform::FileStatus> replaced_;
  std::string working_;  // empty once the file has its name
  std::optional<datasource::platform::SystemFile> file_;
  datasource::platform::FileIdentity identity_;
};

}  // namespace casefile

#endif
