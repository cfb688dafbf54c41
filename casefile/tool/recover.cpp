#include "casefile/recover.h"

#include <string>

#include "casefile/error.h"
#include "dataFile.h"
#include "failure.h"
#include "messages.h"
#include "options.h"
#include "progress.h"

namespace casefile::program {
namespace {

RecoverOptions howFor(const Options& options) {
  RecoverOptions how;
  how.row0 = options.row0;
  how.holes = options.holes;
  how.partial = options.partial;
  how.threads = options.threads;
  how.replace = options.force;
  how.sync = options.sync;
  return how;
}

void sayLosses(const std::string& file, const Recovery& told) {
  for (const Loss& loss : told.losses) {
    if (loss.blocks) {
      say(file, "lost: " + std::to_string(*loss.blocks) + " blocks, " + rangeName(loss.range) + " (" + loss.why + ")");
    } else {
      say(file, "lost: whatever case data there was from logical byte " + std::to_string(loss.range.start) +
                    " on (file position " + std::to_string(loss.filePosition) + ": " + loss.why + ")");
    }
  }
  if (told.unlistedLosses > 0) {
    say(file, std::to_string(told.unlistedLosses) + " more losses are not listed");
  }
  if (told.moreBlocks > 0) {
    say(file, std::to_string(told.moreBlocks) + " sound blocks behind the damage, " + std::to_string(told.moreBytes) +
                  " bytes of case data, are left out: --holes zero keeps them in their places, --holes skip in a row");
  }
}

std::string results(const Recovery& told) {
  std::string text =
      std::to_string(told.blocks) + " blocks, " + std::to_string(told.caseBytes) + " bytes of case data recovered";
  if (told.zeroBytes > 0) {
    text += ", " + std::to_string(told.zeroBytes) + " zeros in place of lost ones";
  }
  if (told.partialBytes > 0) {
    text += ", and " + std::to_string(told.partialBytes) + " bytes of the damaged block";
  }
  return text;
}

// Recovers, and looks at the output's name when the input has turned out to be one that can be rescued.
Recovery recovered(const Options& options) {
  Progress shown;
  RecoverOptions how = howFor(options);
  how.progress = [&shown, &options, isFree = false](const casefile::Progress& now) mutable {
    if (now.phase == Phase::writing && !isFree) {
      requireFreeOutput(options);
      isFree = true;
    }
    return shown.follow(now);
  };
  try {
    return casefile::recover(options.input, options.output, how);
  } catch (const Error& error) {
    const bool isOfName = error.operation() == "create" && error.kind() == ErrorKind::system;
    if (isOfName && error.leftBehind().empty()) {
      requireFreeOutput(options);  // tells more
    }
    throw;
  }
}

}  // namespace

int recover(const Options& options) {
  const Recovery told = mentioningOpenJournal(options.input, [&] { return recovered(options); });
  dropJournalOfReplaced(options);
  sayDetail(options.input, "row-0 position " + std::to_string(told.row0));
  sayLosses(options.input, told);
  if (isSaid(Talk::usual)) {
    say(options.output, results(told));
  }
  return told.complete() ? kDone : kFailed;
}

}  // namespace casefile::program
