#include "outputRules.h"

#include <system_error>

#include "casefile/error.h"
#include "casefile/unfinishedAppend.h"
#include "failure.h"
#include "fileNames.h"

namespace casefile::program {
namespace {

bool isRegularFile(const std::string& name) {
  try {
    const auto status = files::statusOf(name);
    return status && status->kind == files::FileKind::regular;
  } catch (const std::system_error&) {
    return false;  // making the file tells it better
  }
}

void requireNoJournalBeside(const std::string& name) {
  const UnfinishedAppend append = unfinishedAppendOf(name);
  if (append.isOpen()) {
    throw Failure(name, append.journal +
                            " is there: an append to a file of this name has not finished "
                            "(--force replaces the file all the same)");
  }
  if (!append.what.empty()) {
    say(name, append.what);
  }
}

}  // namespace

void requireFree(const std::string& name, const OutputRules& rules) {
  if (rules.replace) {
    return;
  }
  if (isRegularFile(name)) {
    throw Failure(name, "is there already (--force replaces it)");
  }
  requireNoJournalBeside(name);
}

void dropJournalOfReplaced(const std::string& name, const OutputRules& rules) try {
  if (!rules.replace) {
    return;
  }
  if (const JournalOfReplaced journal = removeJournalOfReplaced(name); !journal.what.empty()) {
    say(name, journal.what);
  }
} catch (const Error& error) {
  say(name, "the journal of the file that had this name stays, remove it: " + textOf(error));
}

}  // namespace casefile::program
