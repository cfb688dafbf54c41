#ifndef CASEFILE_JOURNAL_UNFINISHEDAPPEND_H
#define CASEFILE_JOURNAL_UNFINISHEDAPPEND_H

#include <memory>
#include <string>

#include "casefile/randomAccessFile.h"
#include "casefile/unfinishedAppend.h"

namespace casefile {

/// A data file as it is to be judged, and what its journal says.
struct JudgedFile {
  std::shared_ptr<const RandomAccessFile> bytes;
  UnfinishedAppend append;
  bool asBefore = false;  ///< the bytes are those before the unfinished append, not those on the disk
};

/// Opens a data file as the next append would find it: as it was before one that has not finished, where that can be
/// told, else as it is. A copy of such a file, which no append takes back, is opened as it was before where it cannot
/// be read as it is. Raises: Error: as openFile and unfinishedAppendOf.
JudgedFile openAsAppendFinds(const std::string& name);

}  // namespace casefile

#endif
