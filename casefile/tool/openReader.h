#ifndef CASEFILE_OPENREADER_H
#define CASEFILE_OPENREADER_H

#include <cstddef>

#include "casefile/error.h"
#include "casefile/reader.h"
#include "fileReader.h"
#include "placeHint.h"

namespace casefile::program {

/// Reads a file that is open through the library, with no cache, on `threads` threads (0: all).
///
/// Requires: `source` outlives the reader.
/// Raises: Failure or Error when its case data cannot be read; Interrupted.
Reader openReader(FileReader& source, const PlaceHint& hint, std::size_t threads);

/// Tells why the library does not open a file, with its faults, as every command tells it.
/// Raises: Failure, unless the library has said all that there is to say.
void explainRefusal(const Error& error, FileReader& source, const PlaceHint& hint);

}  // namespace casefile::program

#endif
