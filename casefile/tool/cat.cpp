#include <algorithm>

#include "failure.h"
#include "fileNames.h"
#include "hiddenData.h"
#include "openJournal.h"
#include "options.h"
#include "plainCopy.h"
#include "plainOutput.h"
#include "progress.h"

namespace casefile::program {

int cat(const CatOptions& options) {
  refuseOpenJournal(options.file);
  FileReader source(options.file);
  const Layout layout = layoutForReading(source, options.hint);
  const int64 end = layout.logicalEnd();
  const int64 begin = options.dictionary ? 0 : layout.place.row0;
  const int64 from = std::min(options.from.value_or(begin), end);
  const int64 count = std::min(options.bytes.value_or(end), end - from);
  PlainOutput output(kStandardStream, {});
  {
    Progress progress(count);
    const bool ahead = count > static_cast<int64>(kBlockSize);
    copyLogical(source, layout, {from, from + count}, ahead, output, progress);
  }
  output.commit();
  return kDone;
}

}  // namespace casefile::program
