#include <optional>
#include <string>

#include "casefile/appender.h"
#include "casefile/error.h"
#include "casefile/plainInput.h"
#include "dataFile.h"
#include "failure.h"
#include "messages.h"
#include "options.h"
#include "plainFiles.h"
#include "progress.h"

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
  if (input.isFile(file)) {
    throw Error(ErrorKind::usage, "is the input too", {file, "append", {}, {}, {}});
  }
}

void sayWhatIsLeft(const Appender& appender, const std::string& file) {
  if (const auto left = appender.leftBehind()) {
    say(file, left->happened());
  }
}

}  // namespace

int append(const Options& options) {
  std::optional<Progress> progress;  // of the writing
  Appender appender = Appender::open(options.file, optionsFor(options, progress));
  if (appender.tookBack()) {
    say(options.file, "an append that had not finished was taken back");
  }
  tellPlace(options.file, appender.row0(), appender.swapped(), appender.blockCount());
  PlainInput input = openInput(options.input);
  requireOther(input, options.file);
  if (options.headerLines) {
    skipHeaderLines(input, *options.headerLines, appender);
  }
  if (input.peek().empty()) {
    return kDone;  // nothing to append: the file stays as it is
  }
  const bool goesOnInLine = isSaid(Talk::usual) && endsInsideLine(appender);
  progress.emplace(input.size().value_or(-1));
  try {
    writeAll(input, appender);
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
