#ifndef CASEFILE_JOURNAL_JOURNAL_H
#define CASEFILE_JOURNAL_JOURNAL_H

#include <functional>
#include <optional>
#include <string>
#include <system_error>

#include "casefile/error.h"
#include "fileLock.h"
#include "journalForm.h"
#include "scopedFile.h"

namespace casefile {

/// The journal of an append that this process makes.
///
/// Threads: one at a time.
class Journal {
 public:
  /// Writes the journal of a file and returns when it is on the disk; `eachPiece` is called meanwhile.
  ///
  /// Requires: the file is locked for writing and outlives the object; the place is the file's.
  /// Raises: Error when that is not possible; what `eachPiece` does. Nothing is left behind then.
  Journal(FileLock& data, const std::string& file, const AppendPlace& place, const std::function<void()>& eachPiece);
  /// As rollBack().
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// The append has finished and is on the disk: removes the journal. What cannot be removed is marked as finished.
  ///
  /// Returns: what was left behind, to be removed by the next append.
  /// Raises: Error when it can be neither removed, once for all, nor marked.
  std::optional<Error> finish();

  /// Takes the append back, unless it has finished or was taken back.
  /// Returns: why that was not possible, and the journal keeps the old bytes; or that it was, and the journal stays.
  std::optional<Error> rollBack() noexcept;

 private:
  struct Removal {
    bool stays = false;
    std::error_code error;  // why it stays, or may come back when the machine fails
  };

  bool markFinished() noexcept;
  Removal remove() noexcept;
  Error notTakenBack(const std::string& reason) const;
  Error notTakenBack() const noexcept;

  FileLock& data_;
  std::string file_;
  JournalFacts facts_;
  std::string name_;
  ScopedFile kept_;
  // Made while there is memory.
  Error withoutMemory_;
  Error stays_;
  bool ended_ = false;
};

}  // namespace casefile

#endif
