#include "unfinishedAppend.h"

#include <utility>

#include "beforeAppend.h"
#include "casefile/error.h"
#include "foundJournal.h"
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

}  // namespace

UnfinishedAppend unfinishedAppendOf(const std::string& name) {
  FoundJournal found = findJournal(name);
  UnfinishedAppend append;
  append.found = whatIs(found, name);
  append.journal = found.name;
  append.why = found.distrust;
  return append;
}

JudgedFile openAsAppendFinds(const std::string& name) {
  JudgedFile judged{openFile(name), unfinishedAppendOf(name), false};
  if (judged.append.found != JournalFound::unfinished) {
    return judged;
  }
  try {
    judged.bytes = openBeforeAppend(name);
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
