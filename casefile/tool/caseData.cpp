#include "caseData.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "Datasource/platform/extNameStr.h"
#include "failure.h"

namespace casefile::program {

OpenStream::OpenStream(const std::string& file, const char* mode) {
  ExtNameStr name;
  name.SetU8(file);
  errno = 0;
  if (stream_.Open(name, mode) == 0) {
    throw Failure(file, "cannot be opened: " + systemWords(errno), mode[0] == 'r' ? kRefused : kFailed);
  }
}

CaseReader::CaseReader(const std::string& file, const Layout& layout, bool ahead)
    : file_(file), layout_(layout), plain_(file, "rb"), stream_(plain_.get()) {
  constexpr int kReadAhead = 2;
  stream_.setMultiThread(ahead ? kReadAhead : 0);
  begin();
}

void CaseReader::begin() { stream_.readFilePosInfo(layout_.place.row0, layout_.place.swapped); }

std::size_t CaseReader::read(void* buffer, std::size_t count, int64 logical) {
  const std::size_t block = layout_.blockAt(logical);
  const int64 start = layout_.logicalStarts[block];
  const int64 rest = start + layout_.records[block].orginalSize - logical;
  const auto wanted = static_cast<std::size_t>(std::min<int64>(static_cast<int64>(count), rest));
  try {
    // The stream skips behind a short block; one that has no block loaded does not.
    if (logical == start && block > 0 &&
        layout_.records[block - 1].orginalSize < static_cast<std::int32_t>(kBlockSize)) {
      stream_.Close();
      begin();
    }
    stream_.Seek(logical, VORN_StrBaseIO::SeekFromStart);
    if (stream_.Read(buffer, wanted) == wanted) {
      return wanted;
    }
  } catch (const BrokenRule&) {
    // told below
  }
  throw Failure(file_, blockName(layout_, block) + " is damaged");
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
