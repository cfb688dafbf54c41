#include "openReader.h"

#include "failure.h"
#include "hiddenData.h"
#include "layout.h"
#include "notes.h"

namespace casefile::program {
namespace {

ReaderOptions optionsFor(const PlaceHint& hint, std::size_t threads) {
  ReaderOptions options;
  options.row0 = hint.row0;
  options.byteOrder = hint.swap ? ByteOrder::other : ByteOrder::find;
  options.threads = threads;
  options.cacheBytes = 0;
  options.progress = [](const casefile::Progress&) {
    throwIfInterrupted();
    return Next::proceed;
  };
  return options;
}

void tellPlace(const Reader& reader, FileReader& source) {
  if (isSaid(Talk::verbose)) {
    tellLayout(readLayout(source, {reader.row0(), reader.swapped()}), source.name());
  }
}

}  // namespace

void explainRefusal(const Error& error, FileReader& source, const PlaceHint& hint) {
  const bool isOfContents = error.kind() == ErrorKind::notADataFile || error.kind() == ErrorKind::damaged;
  if (error.operation() != "open" || !isOfContents) {
    return;
  }
  const Layout layout = readLayout(source, locate(source, hint));
  requireReadable(layout, source.name());
  refuseHiddenData(source, layout);
}

Reader openReader(FileReader& source, const PlaceHint& hint, std::size_t threads) {
  try {
    Reader reader = Reader::open(fileFromDescriptor(source.descriptor(), source.name()), optionsFor(hint, threads));
    tellPlace(reader, source);
    return reader;
  } catch (const Error& error) {
    explainRefusal(error, source, hint);
    throw;
  }
}

}  // namespace casefile::program
