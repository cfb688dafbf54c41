#ifndef CASEFILE_UNFINISHEDAPPEND_H
#define CASEFILE_UNFINISHEDAPPEND_H

#include <string>

#include "casefile/export.h"

namespace casefile {

/// What lies beside a data file under the name of the journal that an append keeps.
enum class JournalFound {
  none,        ///< no journal, or one that has nothing to take back: the file is as its last append left it
  unfinished,  ///< an append has not finished: the next one takes it back, until then the file may be anything
  damaged,     ///< an append has not finished, and its journal cannot be used
  ofAnother,   ///< an append to another file has not finished, or to the file that this one is a copy of
  notBelieved  ///< somebody else could have made it: it counts for nothing
};

/// Whether an append to a data file has not finished, and by which file that can be seen.
struct UnfinishedAppend {
  JournalFound found = JournalFound::none;  ///< what lies under the name of its journal
  std::string journal;                      ///< the journal's name
  std::string why;                          ///< why it is not believed; else empty
  std::string what;  ///< what there is and what can be done about it, in words, one line; empty: nothing

  /// Returns: whether the file may be in a state that no append leaves.
  bool isOpen() const noexcept { return found != JournalFound::none && found != JournalFound::notBelieved; }
};

/// Looks for the journal of an append to a data file that was killed, that failed, or that is at work now.
///
/// Requires: on Windows the name is UTF-8; elsewhere its bytes are taken as they are.
/// Raises: Error (`system`) when there is a journal that may count and cannot be read.
/// Cost: a look at the folder; a journal that is there is read once.
CASEFILE_API UnfinishedAppend unfinishedAppendOf(const std::string& name);

/// Takes back what an unfinished append has left, as the next Appender would: the file has its old bytes and length
/// again, on the disk, and the journal has gone. A journal that has nothing to take back is only removed.
///
/// Requires: as unfinishedAppendOf.
/// Returns: whether something was taken back.
/// Raises: Error: `busy` when somebody else appends to the file or writes it; `notADataFile` when it is no regular
///   file; `damaged` when what has the journal's name is no sound journal of this file; `system`; `usage`.
/// Changes: nothing, when what has the journal's name is not believed.
CASEFILE_API bool takeBackAppend(const std::string& name);

/// What became of the journal of a file that was replaced.
enum class ReplacedJournal {
  none,        ///< there was none
  finished,    ///< removed; it had nothing to take back
  unfinished,  ///< removed; the append to the file that was replaced had not finished
  damaged      ///< stays: nobody can tell whose it is
};

/// The journal that a replaced file has left beside its name.
struct JournalOfReplaced {
  ReplacedJournal found = ReplacedJournal::none;  ///< what became of it
  std::string journal;                            ///< the journal's name
  std::string what;                               ///< what a user should hear of it, in words, one line; empty: nothing
};

/// Removes the journal of a file whose name another one was given, by a Writer, recover() or a rename: appends to
/// the new file refuse to work beside it. A journal of the file that has the name now stays.
///
/// Requires: as unfinishedAppendOf; the new file has its name by now. Before, the journal is what saves the old one.
/// Raises: Error (`system`) when it can be neither read nor removed.
CASEFILE_API JournalOfReplaced removeJournalOfReplaced(const std::string& name);

}  // namespace casefile

#endif
