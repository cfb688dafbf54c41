#include <algorithm>

#include "casefile/randomAccessFile.h"
#include "dataFile.h"
#include "failure.h"
#include "options.h"
#include "plainFiles.h"

namespace casefile::program {

int cat(const Options& options) {
  refuseOpenJournal(options.file);
  const Reader reader = openReader(openFile(options.file), options);
  const int64 end = reader.size();
  const int64 begin = options.withDictionary ? 0 : reader.row0();
  const int64 from = std::min(options.from.value_or(begin), end);
  writeOut(reader, {from, std::min(options.bytes.value_or(end), end - from)}, kStandardStream);
  return kDone;
}

}  // namespace casefile::program
