#ifndef CASEFILE_JOURNAL_FOUNDJOURNAL_H
#define CASEFILE_JOURNAL_FOUNDJOURNAL_H

#include <optional>
#include <string>
#include <system_error>

#include "files.h"
#include "journalForm.h"

namespace casefile {

/// What has the name of a data file's journal.
struct FoundJournal {
  std::string name;
  bool exists = false;  ///< something has the name, as far as one may look
  std::optional<files::SystemFile> handle;
  std::string distrust;  ///< why it counts for nothing, whatever it holds; else empty
  JournalState state = JournalState::foreign;
  JournalFacts facts;

  bool counts() const { return handle && distrust.empty(); }
  bool isUnfinished() const { return counts() && state == JournalState::sound && !facts.finished; }
  bool isDamaged() const { return counts() && state == JournalState::damaged; }
  /// Returns: whether it is what an append leaves that has finished and cannot remove its journal.
  bool isEmpty() const { return counts() && handle->size() == 0; }
};

/// Returns: the name of a data file's journal; a link and the file that it leads to have the same one.
/// Raises: Error (`system`) when the system fails to tell where a link leads.
std::string journalName(const std::string& file);

/// Looks for the journal of a data file.
/// Raises: Error (`system`) when there is one that may count and cannot be read.
FoundJournal findJournal(const std::string& file);

/// Raises: Error when a folder shows that the file `data`, which has several names, has an unfinished append under
///   another one, or when that cannot be told.
void refuseJournalOfAnotherName(const files::FileStatus& data, const std::string& file);

/// Returns: whether it is the journal of another file, or of the file that this one is a copy of.
bool isOfAnother(const FoundJournal& found, const std::string& file);
/// Returns: whether the data file is what taking the append back would make of it.
bool nothingToTakeBack(FoundJournal& found, FileBytes& data);
/// Removes it. Raises: Error (`system`).
void removeOf(const std::string& file, FoundJournal& found);

/// Who owns a file and who may write to it tell whether it can have come from an append to the data file: others can
/// write the right bytes. Returns: why not, or nothing.
std::string distrustOf(const files::FileStatus& status, const std::optional<files::FileStatus>& data);

/// What is to be done about a journal that is not believed, and about one of another file.
extern const char* const kDistrustedJournal;
extern const char* const kJournalOfAnother;

/// Returns: "cannot be written" and the like of a file's journal, with the system's reason.
/// Raises: always, an Error (`system`).
[[noreturn]] void failJournal(const std::string& file, const std::string& what, std::error_code code);

}  // namespace casefile

#endif
