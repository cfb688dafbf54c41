#include "dataFile.h"

#include <system_error>
#include <utility>

#include "casefile/error.h"
#include "failure.h"
#include "messages.h"
#include "progress.h"
#include "systemFile.h"

namespace casefile::program {
namespace {

namespace files = datasource::platform;

bool isRegularFile(const std::string& name) {
  try {
    const auto status = files::statusOf(name);
    return status && status->kind == files::FileKind::regular;
  } catch (const std::system_error&) {
    return false;  // making the file tells it better
  }
}

}  // namespace

Reader openReader(std::shared_ptr<const RandomAccessFile> file, const Options& options) {
  const std::string name = file->name();
  ReaderOptions how;
  how.row0 = options.row0;
  how.byteOrder = options.byteOrder();
  how.threads = options.threads;
  how.cacheBytes = 0;
  how.progress = onlyInterrupted;
  Reader reader = Reader::open(std::move(file), how);
  tellPlace(name, reader.row0(), reader.swapped(), reader.blockCount());
  return reader;
}

bool mentionOpenJournal(const std::string& file) { return mentionOpenJournal(file, unfinishedAppendOf(file)); }

bool mentionOpenJournal(const std::string& file, const UnfinishedAppend& append) {
  if (!append.what.empty()) {
    say(file, append.what);
  }
  return append.isOpen();
}

void refuseOpenJournal(const std::string& file) {
  if (mentionOpenJournal(file)) {
    fail(file, "is not read in this state");
  }
}

void requireFreeOutput(const Options& options) {
  if (options.force) {
    return;
  }
  if (isRegularFile(options.output)) {
    fail(options.output, "is there already (--force replaces it)");
  }
  const UnfinishedAppend append = unfinishedAppendOf(options.output);
  if (append.isOpen()) {
    fail(options.output, append.journal +
                             " is there: an append to a file of this name has not finished "
                             "(--force replaces the file all the same)");
  }
  if (!append.what.empty()) {
    say(options.output, append.what);
  }
}

void dropJournalOfReplaced(const Options& options) try {
  if (!options.force) {
    return;
  }
  if (const JournalOfReplaced journal = removeJournalOfReplaced(options.output); !journal.what.empty()) {
    say(options.output, journal.what);
  }
} catch (const Error& error) {
  say(options.output,
      "is complete; what has the name of its journal is to be looked at and removed: " + error.happened());
}

void tellPlace(const std::string& file, int64 row0, bool swapped, std::size_t blocks) {
  sayDetail(file, "row-0 position " + std::to_string(row0) + ", " +
                      (swapped ? "the other byte order" : "this machine's byte order") + ", " + std::to_string(blocks) +
                      " blocks");
}

std::string rangeName(const LogicalRange& range) {
  return range.size <= 1 ? "logical byte " + std::to_string(range.start)
                         : "logical bytes " + std::to_string(range.start) + " to " + std::to_string(range.end() - 1);
}

}  // namespace casefile::program
