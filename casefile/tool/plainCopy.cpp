#include "plainCopy.h"

#include <cstddef>
#include <span>

#include "progress.h"

namespace casefile::program {

void copyPlain(const Reader& reader, LogicalRange range, PlainOutput& output) {
  Progress progress(range.size);
  const auto show = [&progress, done = int64{0}](const casefile::Progress& now) mutable {
    progress.advance(now.bytesDone - done);
    done = now.bytesDone;
    return Next::proceed;
  };
  if (output.hasPlaces()) {
    const auto put = [&](std::span<const std::byte> bytes, int64 position) {
      output.writeAt(bytes.data(), bytes.size(), position - range.start);
    };
    reader.readUnordered(range, put, show);
  } else {
    const auto put = [&](std::span<const std::byte> bytes, int64) { output.write(bytes.data(), bytes.size()); };
    reader.read(range, put, show);
  }
}

}  // namespace casefile::program
