#include <system_error>

#include "caseData.h"
#include "failure.h"
#include "hiddenData.h"
#include "journal.h"
#include "options.h"
#include "plainInput.h"
#include "platform/system.h"
#include "progress.h"

namespace casefile {
namespace {

Layout layoutOf(const AppendOptions& options) {
  FileSource source(options.file);
  Layout layout = readLayout(source, locate(source, options.hint));
  requireReadable(layout, options.file);
  refuseHiddenData(source, layout);
  if (layout.place.row0 == 0) {
    throw Failure(options.file, "has no dictionary part: case data at position 0 cannot be read back");
  }
  return layout;
}

void writeBehind(const AppendOptions& options, const Layout& layout, PlainInput& input) {
  Progress progress(input.size());
  const int64 end = layout.logicalEnd();
  OpenStream plain(options.file, "rb");
  zcmpsFilestr stream(plain.get());
  stream.readFilePosInfo(layout.place.row0, layout.place.swapped);
  stream.Seek(end, VORN_StrBaseIO::SeekFromStart);
  stream.setFileToAppend(end, layout.place.swapped);
  while (input.fill()) {
    const std::size_t count = input.available();
    if (stream.Write(input.data(), count) != count) {
      throw Failure(options.file, "takes no more case data");
    }
    input.take(count);
    progress.advance(static_cast<int64>(count));
  }
  if (stream.Close() == 0) {
    throw Failure(options.file, "could not be finished");
  }
  requireAllFitted(stream, options.file, layout.place.row0);
}

void requireWritable(const std::string& file) {
  try {
    platform::File::openForWriting(file).close();
  } catch (const std::system_error& error) {
    throw Failure(file, "cannot be written: " + systemWords(error.code().value()));
  }
}

}  // namespace

int append(const AppendOptions& options) {
  if (rollBack(options.file)) {
    say(options.file, "an append that had not finished was taken back");
  }
  const Layout layout = layoutOf(options);
  PlainInput input(options.input);
  if (!input.fill()) {
    return kDone;  // nothing to append: the file stays as it is
  }
  requireWritable(options.file);
  Journal journal(options.file, layout);
  writeBehind(options, layout, input);
  platform::syncFile(options.file);
  journal.finish();
  return kDone;
}

}  // namespace casefile
