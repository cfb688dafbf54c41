#ifndef CASEFILE_PROGRAM_DATAFILE_H
#define CASEFILE_PROGRAM_DATAFILE_H

#include <cstddef>
#include <memory>
#include <string>

#include "Datasource/platform/types.h"
#include "casefile/randomAccessFile.h"
#include "casefile/range.h"
#include "casefile/reader.h"
#include "casefile/unfinishedAppend.h"
#include "options.h"

namespace casefile::program {

/// Opens a file for reading, with no cache, and says as a detail what it is.
/// Raises: Error.
Reader openReader(std::shared_ptr<const RandomAccessFile> file, const Options& options);

/// Says that an append to `file` has not finished, when that is so. Returns: whether it is.
/// Raises: Error when there is a journal that cannot be read.
bool mentionOpenJournal(const std::string& file);
/// The same of what the library has found already.
bool mentionOpenJournal(const std::string& file, const UnfinishedAppend& append);
/// Looks at `file` and says what that found of its journal; where the look raises, what there is.
/// Returns: what `look` does. Raises: as `look`; what mentionOpenJournal raises, if `look` did not.
template <typename Look>
auto mentioningOpenJournal(const std::string& file, Look look) {
  auto told = [&] {
    try {
      return look();
    } catch (...) {
      try {
        mentionOpenJournal(file);
      } catch (...) {
        // The first error is the one to tell: it may name a file that is left behind.
      }
      throw;
    }
  }();
  mentionOpenJournal(file, told.unfinishedAppend);
  return told;
}
/// Raises: Error when an append to `file` has not finished; as mentionOpenJournal.
void refuseOpenJournal(const std::string& file);

/// Looks whether the output may be made under its name, which may be a link to it.
/// Raises: Error when a file has the name, or a journal lies beside it, and may not be replaced, or the journal
///   cannot be looked at.
void requireFreeOutput(const Options& options);
/// Removes the journal of the file whose name the output has been given, and says so when that matters.
void dropJournalOfReplaced(const Options& options);

/// Says, as a detail, where a file's case data begin, in which byte order, and how many blocks it has.
void tellPlace(const std::string& file, int64 row0, bool swapped, std::size_t blocks);
/// Returns: "logical bytes 100 to 199"; first and last byte are named.
std::string rangeName(const LogicalRange& range);

}  // namespace casefile::program

#endif
