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
  JournalFound found = JournalFound::none;
  std::string journal;  ///< the journal's name
  std::string why;      ///< why it is not believed; else empty

  /// Returns: whether the file may be in a state that no append leaves.
  bool isOpen() const noexcept { return found != JournalFound::none && found != JournalFound::notBelieved; }
};

/// Looks for the journal of an append to a data file that was killed, that failed, or that is at work now.
///
/// Requires: on Windows the name is UTF-8; elsewhere its bytes are taken as they are.
/// Raises: Error (`system`) when there is a journal that may count and cannot be read.
/// Cost: a look at the folder; a journal that is there is read once.
CASEFILE_API UnfinishedAppend unfinishedAppendOf(const std::string& name);

}  // namespace casefile

#endif
