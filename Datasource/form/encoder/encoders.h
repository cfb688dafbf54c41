#ifndef DATASOURCE_FORM_ENCODER_ENCODERS_H
#define DATASOURCE_FORM_ENCODER_ENCODERS_H

#include <memory>

#include "blockEncoder.h"

// One function an encoder, each in a source of its own: the encoder, or null where it is not built in.
// Raises: std::bad_alloc.

namespace datasource::form {

std::unique_ptr<BlockEncoder> makeZlibEncoder();
std::unique_ptr<BlockEncoder> makeLibdeflateEncoder();
std::unique_ptr<BlockEncoder> makeIsalEncoder();
std::unique_ptr<BlockEncoder> makeFastEncoder();

/// Returns: whether the build has ISA-L.
bool isalIsBuiltIn() noexcept;

}  // namespace datasource::form

#endif
