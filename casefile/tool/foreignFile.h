#ifndef CASEFILE_FOREIGNFILE_H
#define CASEFILE_FOREIGNFILE_H

#include <string>

#include "plainInput.h"

namespace casefile::program {

/// Says that an input of which nothing was taken yet is compressed already, when that is so.
/// Raises: as PlainInput::fill.
void warnOfForeign(PlainInput& input, const std::string& name);

}  // namespace casefile::program

#endif
