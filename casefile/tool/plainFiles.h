#ifndef CASEFILE_PROGRAM_PLAINFILES_H
#define CASEFILE_PROGRAM_PLAINFILES_H

#include <string>

#include "casefile/plainInput.h"
#include "casefile/reader.h"

namespace casefile::program {

/// The name that stands for standard input or output.
inline constexpr char kStandardStream[] = "-";

/// Opens plain data for reading. A signal that asks the program to end ends reading.
/// Raises: Error.
PlainInput openInput(const std::string& name);

/// Returns: whether a device or pipe has the name, into which is written what else becomes a file.
bool isDevice(const std::string& name);

/// Writes a range of the uncompressed bytes in order, up to the first that is damaged, to standard output or to the
/// device or pipe that has the name, and shows how far it is.
///
/// Requires: the range ends at the logical end or before.
/// Raises: Error; as failToWrite.
void writeOut(const Reader& reader, LogicalRange range, const std::string& name);

}  // namespace casefile::program

#endif
