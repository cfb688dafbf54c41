#ifndef CASEFILE_ENCODERCHOICE_H
#define CASEFILE_ENCODERCHOICE_H

#include <string>

#include "casefile/encoder.h"
#include "encoder/blockEncoder.h"

namespace casefile {

/// Returns: the room's name for an encoder that a program chose for `file`.
/// Raises: Error (`usage`) when it is not built in.
datasource::form::EncoderChoice requireBuiltIn(Encoder encoder, const std::string& file);

}  // namespace casefile

#endif
