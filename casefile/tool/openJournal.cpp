#include "openJournal.h"

#include <exception>
#include <utility>

#include "beforeAppend.h"
#include "failure.h"
#include "foundJournal.h"
#include "rollBack.h"
#include "sourceReader.h"

namespace casefile::program {
namespace {

void mentionDistrusted(const std::string& file, const FoundJournal& found) {
  say(file, found.name + " has the name of its journal, " + found.distrust + " " + kDistrustedJournal);
}

// What the library opens, as the program reads it.
class OpenedSource : public NamedReader {
 public:
  OpenedSource(const std::string& file, std::shared_ptr<const RandomAccessFile> bytes)
      : current_(file), bytes_(std::move(bytes)) {}
  const std::string& name() const noexcept override { return current_.name(); }
  int64 size() const override { return bytes_.size(); }
  files::FileStatus status() const override { return current_.status(); }
  std::size_t read(void* buffer, std::size_t count, int64 position) override {
    return bytes_.read(buffer, count, position);
  }

 private:
  FileReader current_;
  SourceReader bytes_;
};

}  // namespace

bool mentionOpenJournal(const std::string& file) {
  FoundJournal found = findJournal(file);
  if (!found.distrust.empty()) {
    mentionDistrusted(file, found);
    return false;
  }
  if (found.isUnfinished() && isOfAnother(found, file)) {
    FileReader data(file);
    if (nothingToTakeBack(found, data)) {
      return false;
    }
    say(file, "its journal " + found.name + " belongs to another file, or this one is a copy: " + kJournalOfAnother);
    return true;
  }
  if (!found.isUnfinished() && !found.isDamaged()) {
    return false;
  }
  say(file, "an append has not finished (" + found.name +
                " is there): the next append takes it back, casefile recover writes the file as it was before");
  return true;
}

void refuseOpenJournal(const std::string& file) {
  if (mentionOpenJournal(file)) {
    throw Failure(file, "is not read in this state");
  }
}

void requireNoJournalBeside(const std::string& file) {
  const FoundJournal found = findJournal(file);
  if (!found.distrust.empty()) {
    mentionDistrusted(file, found);
  }
  if (found.isUnfinished() || found.isDamaged()) {
    throw Failure(file, found.name +
                            " is there: an append to a file of this name has not finished "
                            "(--force replaces the file all the same)");
  }
}

void dropReplacedJournal(const std::string& file) try {
  const std::string journal = journalName(file);
  switch (dropJournalOfReplaced(file)) {
    case ReplacedJournal::damaged:
      say(file, journal + " is a damaged journal of the file that had this name: it stays, remove it");
      break;
    case ReplacedJournal::unfinished:
      say(file,
          "the file that had this name was in an append that had not finished; its journal " + journal + " is removed");
      break;
    case ReplacedJournal::none:
    case ReplacedJournal::finished:
      break;
  }
} catch (const std::exception& error) {
  say(file, "the journal of the file that had this name stays, remove it: " + std::string(error.what()));
}

std::unique_ptr<NamedReader> sourceBeforeAppend(const std::string& file) {
  return std::make_unique<OpenedSource>(file, openBeforeAppend(file));
}

}  // namespace casefile::program
