#include "casefile/pack.h"

#include <optional>
#include <string>

#include "casefile/inspect.h"
#include "dataFile.h"
#include "failure.h"
#include "messages.h"
#include "options.h"
#include "plainFiles.h"
#include "progress.h"

namespace casefile::program {
namespace {

// Says that an input of which nothing was taken yet is compressed already, when that is so.
void warnOfForeign(PlainInput& input) {
  if (!isSaid(Talk::usual)) {
    return;
  }
  if (const char* const format = foreignFormat(input.peek())) {
    say(input.name(), std::string("is ") + format + ", which is compressed already: its contents are not looked into");
  }
}

// An input without line ends, say, becomes a file that is no smaller.
void sayThatNothingIsCompressed(const Packed& made, const std::string& input) {
  if (isSaid(Talk::usual) && made.endsEarly && made.row0 > 0) {
    say(input, "ends in the dictionary part, which is not compressed (--header-lines, --row0 say how long that is)");
  }
}

PackOptions optionsFor(const Options& options, PlainInput* dictionary, Progress& progress) {
  PackOptions how;
  how.dictionary = dictionary;
  how.row0 = options.row0;
  how.headerLines = options.headerLines.value_or(1);
  how.threads = options.threads;
  how.encoder = options.encoder;
  how.replace = options.force;
  how.sync = options.sync;
  how.preserve = options.preserve;
  how.progress = [&progress](const casefile::Progress& now) { return progress.follow(now); };
  return how;
}

}  // namespace

int pack(const Options& options) {
  requireFreeOutput(options);
  PlainInput input = openInput(options.input);
  std::optional<PlainInput> dictionary;
  if (!options.dictionary.empty()) {
    dictionary = openInput(options.dictionary);
  }
  warnOfForeign(input);
  Progress progress;
  const Packed made =
      casefile::pack(input, options.output, optionsFor(options, dictionary ? &*dictionary : nullptr, progress));
  sayDetail(options.output, "row-0 position " + std::to_string(made.row0) + ", from " + std::to_string(made.caseBytes) +
                                " bytes of case data");
  sayThatNothingIsCompressed(made, input.name());
  dropJournalOfReplaced(options);
  return kDone;
}

}  // namespace casefile::program
