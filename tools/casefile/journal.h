#ifndef CASEFILE_JOURNAL_H
#define CASEFILE_JOURNAL_H

#include <cstddef>
#include <string>

#include "byteSource.h"
#include "fileLock.h"
#include "handleSource.h"
#include "journalForm.h"
#include "layout.h"
#include "scopedFile.h"

namespace casefile::program {

/// Returns: the name of a data file's journal; a link and the file that it leads to have the same one.
std::string journalName(const std::string& file);

/// Says that an append to `file` has not finished, when that is so. Returns: whether it is.
/// Raises: Failure (kRefused) when there is a journal that cannot be read.
bool mentionOpenJournal(const std::string& file);
/// Raises: Failure when an append to `file` has not finished.
void refuseOpenJournal(const std::string& file);

/// Takes an unfinished append back: the data file has its old bytes and length again, on the disk. A journal
/// that has nothing to take back is only removed, as is what a killed append has left of making one. Returns: whether
/// something was taken back. Raises: Failure when what has the journal's name is no sound journal of this file; all is
/// as before then.
bool rollBack(FileLock& data, const std::string& file);

/// Raises: Failure when a journal of an unfinished append lies beside the name.
void requireNoJournalBeside(const std::string& file);
/// Removes the journal of a file whose name another one was given, and says so when an append had not
/// finished. What is no sound journal stays.
void dropJournalOfReplaced(const std::string& file);

/// The journal of an append that this process makes.
class Journal {
 public:
  /// Writes the journal of a claimed file and returns when it is on the disk. The layout must be the file's.
  /// Raises: Failure when that is not possible; nothing is left behind then.
  Journal(FileLock& data, const std::string& file, const Layout& layout);
  /// Takes the append back unless it has finished; an error met there is said.
  /// Requires: nothing else in this process has the data file open for writing.
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// The append has finished and is on the disk: removes the journal. What cannot be removed is marked as
  /// finished, and said.
  void finish();

 private:
  bool markFinished() noexcept;

  FileLock& data_;
  std::string file_;
  JournalFacts facts_;
  ScopedFile kept_;
  bool finished_ = false;
};

/// A data file as it was before the append that its journal belongs to.
class SourceBeforeAppend : public ByteSource {
 public:
  /// Requires: both outlive the object; the facts are the journal's.
  SourceBeforeAppend(ByteSource& current, ByteSource& journal, const JournalFacts& facts);
  const std::string& name() const noexcept override { return current_.name(); }
  int64 size() const override { return facts_.oldLength; }
  files::FileStatus status() const override { return current_.status(); }
  std::size_t read(void* buffer, std::size_t count, int64 position) override;

 private:
  ByteSource& current_;
  ByteSource& journal_;
  JournalFacts facts_;
};

/// The same, by the data file's name.
class FileBeforeAppend : public ByteSource {
 public:
  /// Raises: Failure when the journal or the file is not what it should be.
  explicit FileBeforeAppend(const std::string& file);
  const std::string& name() const noexcept override { return before_.name(); }
  int64 size() const override { return before_.size(); }
  files::FileStatus status() const override { return before_.status(); }
  std::size_t read(void* buffer, std::size_t count, int64 position) override {
    return before_.read(buffer, count, position);
  }

 private:
  JournalFacts soundFacts();

  FileSource current_;
  files::SystemFile handle_;
  HandleSource journal_;
  SourceBeforeAppend before_;
};

}  // namespace casefile::program

#endif
