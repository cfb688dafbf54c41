#ifndef CASEFILE_FOREIGNFILE_H
#define CASEFILE_FOREIGNFILE_H

#include <string>

#include "namedReader.h"
#include "plainInput.h"

namespace casefile::program {

/// Raises: Failure (kRefused) that names the form of a file which another program has compressed.
void refuseForeign(NamedReader& source);

/// Says that an input of which nothing was taken yet is compressed already, when that is so.
/// Raises: as PlainInput::fill.
void warnOfForeign(PlainInput& input, const std::string& name);

}  // namespace casefile::program

#endif
