#include "casefile/unpack.h"

#include "casefile/randomAccessFile.h"
#include "dataFile.h"
#include "failure.h"
#include "options.h"
#include "plainFiles.h"
#include "progress.h"

namespace casefile::program {
namespace {

void makeFile(const Reader& reader, const Options& options) {
  requireFreeOutput(options);
  Progress progress(reader.size());
  UnpackOptions how;
  how.replace = options.force;
  how.sync = options.sync;
  how.preserve = options.preserve;
  how.progress = [&progress](const casefile::Progress& now) { return progress.follow(now); };
  casefile::unpack(reader, options.output, how);
  dropJournalOfReplaced(options);
}

}  // namespace

int unpack(const Options& options) {
  refuseOpenJournal(options.input);
  const Reader reader = openReader(openFile(options.input), options);
  if (options.output == kStandardStream || isDevice(options.output)) {
    writeOut(reader, {0, reader.size()}, options.output);
  } else {
    makeFile(reader, options);
  }
  return kDone;
}

}  // namespace casefile::program
