#ifndef CASEFILE_JOURNAL_ROLLBACK_H
#define CASEFILE_JOURNAL_ROLLBACK_H

#include <string>

#include "fileLock.h"
#include "journalForm.h"
#include "sourceReader.h"

namespace casefile {

/// Takes back what an unfinished append has left: the data file has its old bytes and length again, on the disk. A
/// journal that has nothing to take back is only removed, as is what a killed append has left of making one.
///
/// Requires: the file is locked for writing.
/// Returns: whether something was taken back.
/// Raises: Error when what has the journal's name is no sound journal of this file; all is as before then.
bool rollBack(FileLock& data, const std::string& file);

/// Returns: whether what an append overwrites, heading, table and last block, can be read.
/// Raises: Error (`system`).
bool isSoundWhereAppended(SourceReader& source, int64 row0);

/// Writes the old bytes back and returns when they are on the disk.
/// Raises: Error (`damaged`) when the journal ends before its tail does; std::system_error.
void restore(files::SystemFile& data, FileBytes& journal, const JournalFacts& facts, const std::string& journalName);

/// Returns: the name under which a journal is written, before it gets its own.
std::string workingJournalName(const std::string& file);

}  // namespace casefile

#endif
