#include "openJournal.h"

#include "casefile/unfinishedAppend.h"
#include "failure.h"

namespace casefile::program {

bool mentionOpenJournal(const std::string& file) {
  const UnfinishedAppend append = unfinishedAppendOf(file);
  if (!append.what.empty()) {
    say(file, append.what);
  }
  return append.isOpen();
}

void refuseOpenJournal(const std::string& file) {
  if (mentionOpenJournal(file)) {
    throw Failure(file, "is not read in this state");
  }
}

}  // namespace casefile::program
