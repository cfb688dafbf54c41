#include <optional>
#include <string>

#include "casefile/appender.h"
#include "casefile/inspect.h"
#include "dataFile.h"
#include "failure.h"
#include "messages.h"
#include "options.h"
#include "plainInput.h"
#include "progress.h"
#include "textLines.h"

namespace casefile::program {
namespace {

AppenderOptions optionsFor(const Options& options, std::optional<Progress>& progress) {
  AppenderOptions result;
  result.row0 = options.row0;
  result.threads = options.threads;
  result.encoder = options.encoder;
  result.progress = [&progress](const casefile::Progress& now) {
    return progress ? progress->follow(now) : onlyInterrupted(now);
  };
  return result;
}

void requireOther(const PlainInput& input, const std::string& file) {
  const auto status = files::statusOf(file);
  if (status && input.status().identity == status->identity) {
    throw Failure(file, "is the input too", kRefused);
  }
}

void tellFile(const Appender& appender, const Options& options) {
  if (isSaid(Talk::verbose)) {
    InspectOptions how;
    how.row0 = appender.row0();
    const Inspection told = inspect(openFile(options.file), how);
    tellPlace(options.file, told.row0, told.swapped, told.blocks.size());
  }
}

void sayWhatIsLeft(const Appender& appender, const std::string& file) {
  if (const auto left = appender.leftBehind()) {
    say(file, textOf(*left));
  }
}

}  // namespace

int append(const Options& options) {
  std::optional<Progress> progress;  // of the writing
  Appender appender = Appender::open(options.file, optionsFor(options, progress));
  if (appender.tookBack()) {
    say(options.file, "an append that had not finished was taken back");
  }
  tellFile(appender, options);
  PlainInput input(options.input);
  requireOther(input, options.file);
  if (options.headerLines) {
    skipHeaderLines(input, *options.headerLines, appender, options.file);
  }
  if (!input.fill()) {
    return kDone;  // nothing to append: the file stays as it is
  }
  const bool goesOnInLine = isSaid(Talk::usual) && endsInsideLine(appender);
  progress.emplace(input.size());
  try {
    readAll(input, appender);
    appender.finish();
  } catch (...) {
    appender.cancel();
    sayWhatIsLeft(appender, options.file);
    throw;
  }
  sayWhatIsLeft(appender, options.file);
  if (goesOnInLine) {
    say(options.file, "its last line had no end: what was appended goes on in it");
  }
  return kDone;
}

}  // namespace casefile::program
