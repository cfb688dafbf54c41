#include "casefile/randomAccessFile.h"
#include "dataFile.h"
#include "failure.h"
#include "options.h"
#include "plainInput.h"
#include "plainOutput.h"

namespace casefile::program {

int unpack(const Options& options) {
  refuseOpenJournal(options.input);
  const files::SystemFile input = openForReading(options.input, files::kOpenNoWait);
  const Reader reader = openReader(fileFromDescriptor(input.descriptor(), options.input), options);
  PlainOutput output(options.output, options);
  output.appearAs(input.status());
  output.take(reader, {0, reader.size()});
  return kDone;
}

}  // namespace casefile::program
