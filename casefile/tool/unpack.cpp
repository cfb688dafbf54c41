#include "failure.h"
#include "openJournal.h"
#include "openReader.h"
#include "options.h"
#include "plainCopy.h"
#include "plainOutput.h"

namespace casefile::program {

int unpack(const UnpackOptions& options) {
  refuseOpenJournal(options.input);
  FileReader source(options.input);
  const Reader reader = openReader(source, options.hint, options.threads);
  PlainOutput output(options.output, {options.force, options.sync, options.preserve});
  output.appearAs(source.status());
  copyPlain(reader, {0, reader.size()}, output);
  output.commit();
  return kDone;
}

}  // namespace casefile::program
