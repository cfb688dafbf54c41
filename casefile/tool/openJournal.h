#ifndef CASEFILE_OPENJOURNAL_H
#define CASEFILE_OPENJOURNAL_H

#include <string>

namespace casefile::program {

/// Says that an append to `file` has not finished, when that is so. Returns: whether it is.
/// Raises: Error when there is a journal that cannot be read.
bool mentionOpenJournal(const std::string& file);
/// Raises: Failure when an append to `file` has not finished.
void refuseOpenJournal(const std::string& file);

}  // namespace casefile::program

#endif
