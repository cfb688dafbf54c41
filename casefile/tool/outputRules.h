#ifndef CASEFILE_OUTPUTRULES_H
#define CASEFILE_OUTPUTRULES_H

#include <string>

namespace casefile::program {

/// How an output is made.
struct OutputRules {
  bool replace = false;  ///< a file that has the name goes
  bool sync = true;      ///< the new file is on the disk before it gets its name, and the name behind it
  bool preserve = true;  ///< it gets the input's access rights and times
};

/// Looks whether a new file may be made under a name, which may be a link to it.
/// Raises: Failure when a file has the name, or a journal lies beside it, and may not be replaced; Error when the
///   journal cannot be looked at.
void requireFree(const std::string& name, const OutputRules& rules);

/// Removes the journal of the file whose name a new one has been given, and says so when that matters.
void dropJournalOfReplaced(const std::string& name, const OutputRules& rules);

}  // namespace casefile::program

#endif
