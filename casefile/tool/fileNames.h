#ifndef CASEFILE_FILENAMES_H
#define CASEFILE_FILENAMES_H

#include "systemFile.h"

namespace casefile::program {

/// The seam to the system: files by name and by descriptor.
namespace files = datasource::platform;

/// The name that stands for standard input or output.
inline constexpr char kStandardStream[] = "-";

}  // namespace casefile::program

#endif
