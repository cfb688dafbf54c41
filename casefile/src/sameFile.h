#ifndef CASEFILE_SAMEFILE_H
#define CASEFILE_SAMEFILE_H

#include <string>

#include "files.h"

namespace casefile {

/// Returns: whether a name stands for this file; false, too, for one that may not be looked at.
/// Raises: Error (`system`) when the system fails to tell.
bool isSameFile(const files::FileIdentity& file, const std::string& name);

/// Raises: Error (`usage`) when the output's name stands for what it is to be made of.
void requireNoInput(const std::string& output, bool isInput);

}  // namespace casefile

#endif
