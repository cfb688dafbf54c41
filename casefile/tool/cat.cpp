#include <algorithm>

#include "failure.h"
#include "fileNames.h"
#include "openJournal.h"
#include "openReader.h"
#include "options.h"
#include "plainCopy.h"
#include "plainOutput.h"

namespace casefile::program {

int cat(const CatOptions& options) {
  refuseOpenJournal(options.file);
  FileReader source(options.file);
  const Reader reader = openReader(source, options.hint, options.threads);
  const int64 end = reader.size();
  const int64 begin = options.dictionary ? 0 : reader.row0();
  const int64 from = std::min(options.from.value_or(begin), end);
  PlainOutput output(kStandardStream, {});
  copyPlain(reader, {from, std::min(options.bytes.value_or(end), end - from)}, output);
  output.commit();
  return kDone;
}

}  // namespace casefile::program
