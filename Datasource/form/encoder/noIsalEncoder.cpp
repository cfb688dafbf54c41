#include "encoders.h"

// In place of isalEncoder.cpp, where the build machine has no ISA-L.

namespace datasource::form {

std::unique_ptr<BlockEncoder> makeIsalEncoder() { return nullptr; }

bool isalIsBuiltIn() noexcept { return false; }

}  // namespace datasource::form
