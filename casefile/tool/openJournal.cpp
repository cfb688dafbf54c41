#include "openJournal.h"

#include <exception>

#include "casefile/unfinishedAppend.h"
#include "failure.h"
#include "foundJournal.h"
#include "rollBack.h"

namespace casefile::program {
namespace {

void mentionDistrusted(const std::string& file, const std::string& journal, const std::string& why) {
  say(file, journal + " has the name of its journal, " + why + " " + kDistrustedJournal);
}

}  // namespace

bool mentionOpenJournal(const std::string& file) {
  const UnfinishedAppend append = unfinishedAppendOf(file);
  switch (append.found) {
    case JournalFound::none:
      break;
    case JournalFound::notBelieved:
      mentionDistrusted(file, append.journal, append.why);
      break;
    case JournalFound::ofAnother:
      say(file,
          "its journal " + append.journal + " belongs to another file, or this one is a copy: " + kJournalOfAnother);
      break;
    case JournalFound::unfinished:
    case JournalFound::damaged:
      say(file, "an append has not finished (" + append.journal +
                    " is there): the next append takes it back, casefile recover writes the file as it was before");
      break;
  }
  return append.isOpen();
}

void refuseOpenJournal(const std::string& file) {
  if (mentionOpenJournal(file)) {
    throw Failure(file, "is not read in this state");
  }
}

void requireNoJournalBeside(const std::string& file) {
  const FoundJournal found = findJournal(file);
  if (!found.distrust.empty()) {
    mentionDistrusted(file, found.name, found.distrust);
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

}  // namespace casefile::program
