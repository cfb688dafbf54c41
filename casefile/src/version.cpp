#include "casefile/version.h"

namespace casefile {

const char* version() noexcept { return CASEFILE_VERSION_STRING; }

std::vector<std::string> codecs() { return {"zlib"}; }

}  // namespace casefile
