#ifndef CASEFILE_FILES_H
#define CASEFILE_FILES_H

#include "systemFile.h"

namespace casefile {

/// The seam to the system: files by name and by descriptor.
namespace files = datasource::platform;

}  // namespace casefile

#endif
