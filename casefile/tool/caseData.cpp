#include "caseData.h"

#include <cerrno>

#include "Datasource/platform/extNameStr.h"
#include "failure.h"
#include "layout.h"
#include "namedReader.h"

namespace casefile::program {

OpenStream::OpenStream(const std::string& file, const char* mode) {
  ExtNameStr name;
  name.SetU8(file);
  errno = 0;
  if (stream_.Open(name, mode) == 0) {
    throw Failure(file, "cannot be opened: " + systemWords(errno), mode[0] == 'r' ? kRefused : kFailed);
  }
}

void requireAllFitted(const zcmpsFilestr& finished, const std::string& file, int64 row0) {
  const auto cut = finished.truncatedRanges();
  if (cut.empty()) {
    return;
  }
  FileReader source(file);
  const Layout layout = readLayout(source, {row0, false});
  throw Failure(file, blockName(layout, layout.blockAt(cut.front().begin)) +
                          " does not fit its compressed form: the data hardly compress");
}

}  // namespace casefile::program
