#ifndef CASEFILE_PLAINOUTPUT_H
#define CASEFILE_PLAINOUTPUT_H

#include <string>

#include "casefile/reader.h"

namespace casefile::program {

/// Returns: whether a device or pipe has the name, into which is written what else becomes a file.
bool isDevice(const std::string& name);

/// Writes a range of the uncompressed bytes in order, up to the first that is damaged, to standard output (`-`) or to
/// the device or pipe that has the name, and shows how far it is.
///
/// Requires: the range ends at the logical end or before.
/// Raises: Failure; Error; Interrupted, also when the reader of a pipe has gone.
void writeOut(const Reader& reader, LogicalRange range, const std::string& name);

}  // namespace casefile::program

#endif
