#include "outputRules.h"

#include <system_error>

#include "failure.h"
#include "fileNames.h"
#include "openJournal.h"

namespace casefile::program {
namespace {

// Returns: what links lead to; the name itself when that cannot be told, which making the file tells better.
std::string finalName(const std::string& name) {
  try {
    return files::withoutLinks(name);
  } catch (const std::system_error&) {
    return name;
  }
}

bool isRegularFile(const std::string& name) {
  try {
    const auto status = files::statusOf(name);
    return status && status->kind == files::FileKind::regular;
  } catch (const std::system_error&) {
    return false;  // making the file tells it better
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
  requireNoJournalBeside(finalName(name));
}

void dropJournalOfReplaced(const std::string& name, const OutputRules& rules) {
  if (rules.replace) {
    dropReplacedJournal(finalName(name));
  }
}

}  // namespace casefile::program
