#include "openReader.h"

#include <memory>

#include "casefile/inspect.h"
#include "failure.h"
#include "notes.h"

namespace casefile::program {
namespace {

Next goOn(const casefile::Progress& /*now*/) {
  throwIfInterrupted();
  return Next::proceed;
}

std::shared_ptr<const RandomAccessFile> bytesOf(const FileReader& source) {
  return fileFromDescriptor(source.descriptor(), source.name());
}

ReaderOptions optionsFor(const PlaceHint& hint, std::size_t threads) {
  ReaderOptions options;
  options.row0 = hint.row0;
  options.byteOrder = hint.byteOrder();
  options.threads = threads;
  options.cacheBytes = 0;
  options.progress = goOn;
  return options;
}

void requireReadable(const Inspection& told, const std::string& file) {
  for (const Fault& fault : told.faults) {
    if (fault.hindersReading) {
      const std::string where = fault.block && fault.range ? blockName(*fault.block, *fault.range) + ": " : "";
      throw Failure(file, where + fault.what + " (casefile verify lists the damage, casefile recover rescues)");
    }
  }
}

}  // namespace

void explainRefusal(const Error& error, FileReader& source, const PlaceHint& hint) {
  const bool isOfContents = error.kind() == ErrorKind::notADataFile || error.kind() == ErrorKind::damaged;
  const std::string& doing = error.operation();
  if ((doing != "open" && doing != "find" && doing != "choose") || !isOfContents) {
    return;
  }
  InspectOptions options;
  options.row0 = hint.row0;
  options.byteOrder = hint.byteOrder();
  options.progress = goOn;
  requireReadable(withPlaceExplained(hint.row0.has_value(), [&] { return inspect(bytesOf(source), options); }),
                  source.name());
  if (error.kind() == ErrorKind::notADataFile) {
    // Heading and table are sound: then it is other case data that stand in the way.
    throw Failure(source.name(), textOf(error) + " (casefile recover --row0 writes either to a file of its own)");
  }
}

Reader openReader(FileReader& source, const PlaceHint& hint, std::size_t threads) {
  try {
    Reader reader = Reader::open(bytesOf(source), optionsFor(hint, threads));
    tellPlace(source.name(), reader.row0(), reader.swapped(), reader.blockCount());
    return reader;
  } catch (const Error& error) {
    explainRefusal(error, source, hint);
    throw;
  }
}

}  // namespace casefile::program
