#include "unfinishedAppend.h"

#include <system_error>
#include <utility>

#include "beforeAppend.h"
#include "casefile/error.h"
#include "foundJournal.h"
#include "lockedFile.h"
#include "rollBack.h"
#include "sourceReader.h"

namespace casefile {
namespace {

JournalFound whatIs(FoundJournal& found, const std::string& name) {
  if (!found.distrust.empty()) {
    return JournalFound::notBelieved;
  }
  if (found.isUnfinished() && isOfAnother(found, name)) {
    SourceReader data(openFile(name));
    return nothingToTakeBack(found, data) ? JournalFound::none : JournalFound::ofAnother;
  }
  if (found.isUnfinished()) {
    return JournalFound::unfinished;
  }
  return found.isDamaged() ? JournalFound::damaged : JournalFound::none;
}

std::string wordsFor(const UnfinishedAppend& append) {
  switch (append.found) {
    case JournalFound::none:
      return "";
    case JournalFound::notBelieved:
      return append.journal + " has the name of its journal, " + append.why + " " + kDistrustedJournal;
    case JournalFound::ofAnother:
      return "its journal " + append.journal + " belongs to another file, or this one is a copy: " + kJournalOfAnother;
    case JournalFound::unfinished:
    case JournalFound::damaged:
      break;
  }
  return "an append has not finished (" + append.journal +
         " is there): the next append takes it back, casefile recover writes the file as it was before";
}

std::string wordsFor(ReplacedJournal found, const std::string& journal) {
  switch (found) {
    case ReplacedJournal::none:
    case ReplacedJournal::finished:
      return "";
    case ReplacedJournal::unfinished:
      return "the file that had this name was in an append that had not finished; its journal " + journal +
             " is removed";
    case ReplacedJournal::damaged:
      break;
  }
  return journal + " is a damaged journal of the file that had this name: it stays, remove it";
}

bool canBeReadAsItLies(const std::shared_ptr<const RandomAccessFile>& bytes, int64 row0) {
  SourceReader source(bytes);
  return isSoundWhereAppended(source, row0);
}

// Removes it, unless it is damaged or belongs to the file that has the name.
ReplacedJournal removeUnlessNeeded(FoundJournal& found, const std::string& name) {
  if (found.isDamaged()) {
    return ReplacedJournal::damaged;
  }
  if (found.state != JournalState::sound || !isOfAnother(found, name)) {
    return ReplacedJournal::none;
  }
  const bool unfinished = found.isUnfinished();
  removeOf(name, found);
  return unfinished ? ReplacedJournal::unfinished : ReplacedJournal::finished;
}

}  // namespace

UnfinishedAppend unfinishedAppendOf(const std::string& name) {
  FoundJournal found = findJournal(name);
  UnfinishedAppend append;
  append.found = whatIs(found, name);
  append.journal = found.name;
  append.why = found.distrust;
  append.what = wordsFor(append);
  return append;
}

bool takeBackAppend(const std::string& name) {
  LockedFile file(name);
  try {
    return rollBack(file.lock(), name);
  } catch (const std::system_error& error) {
    throw Error(ErrorKind::system, "an append cannot be taken back", {name, "roll back", error.code(), {}, {}});
  }
}

JournalOfReplaced removeJournalOfReplaced(const std::string& name) {
  FoundJournal found = findJournal(name);
  const ReplacedJournal what = removeUnlessNeeded(found, name);
  return {what, found.name, wordsFor(what, found.name)};
}

JudgedFile openAsAppendFinds(const std::string& name) {
  JudgedFile judged{openFile(name), unfinishedAppendOf(name), false};
  const bool isOfAnother = judged.append.found == JournalFound::ofAnother;
  if (judged.append.found != JournalFound::unfinished && !isOfAnother) {
    return judged;
  }
  try {
    auto before = openBeforeAppend(judged.bytes);
    if (isOfAnother && canBeReadAsItLies(judged.bytes, before->row0())) {
      return judged;  // nobody but the user knows which of the two is right
    }
    judged.bytes = std::move(before);
    judged.asBefore = true;
  } catch (const Error& error) {
    if (error.kind() != ErrorKind::damaged && error.kind() != ErrorKind::busy) {
      throw;
    }
    // The journal does not fit the file, or has gone meanwhile: then the file is judged as it lies there.
  }
  return judged;
}

}  // namespace casefile
