#include <algorithm>
#include <vector>

#include "caseData.h"
#include "failure.h"
#include "hiddenData.h"
#include "openJournal.h"
#include "options.h"
#include "plainCopy.h"
#include "plainOutput.h"
#include "progress.h"

namespace casefile::program {

int unpack(const UnpackOptions& options) {
  refuseOpenJournal(options.input);
  FileReader source(options.input);
  const Layout layout = layoutForReading(source, options.hint);
  PlainOutput output(options.output, {options.force, options.sync});
  output.limitRightsTo(source.status());
  {
    Progress progress(layout.logicalEnd());
    copyLogical(source, layout, {0, layout.logicalEnd()}, options.threads > 0, output, progress);
  }
  output.commit();
  return kDone;
}

}  // namespace casefile::program
