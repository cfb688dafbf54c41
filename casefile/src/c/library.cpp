#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "casefile/cBasics.h"
#include "casefile/version.h"

const char* casefile_version(void) { return casefile::version(); }

const char* casefile_codec(size_t index) {
  static constexpr std::array<const char*, 4> kNames = {"isal", "fast", "libdeflate", "zlib"};  // they last
  try {
    const std::vector<std::string> builtIn = casefile::codecs();
    const auto* const name = std::find_if(kNames.begin(), kNames.end(), [&](const char* candidate) {
      return index < builtIn.size() && builtIn[index] == candidate;
    });
    return name == kNames.end() ? nullptr : *name;
  } catch (...) {
    return nullptr;
  }
}

const char* casefile_status_name(casefile_status status) {
  switch (status) {
    case CASEFILE_OK:
      return "ok";
    case CASEFILE_SYSTEM:
      return "system";
    case CASEFILE_NOT_A_DATA_FILE:
      return "not a data file";
    case CASEFILE_DAMAGED:
      return "damaged";
    case CASEFILE_DOES_NOT_FIT:
      return "does not fit";
    case CASEFILE_BUSY:
      return "busy";
    case CASEFILE_USAGE:
      return "usage";
    case CASEFILE_CANCELLED:
      return "cancelled";
    case CASEFILE_NO_MEMORY:
      return "no memory";
    case CASEFILE_OTHER:
      return "other";
    default:
      return "unknown";
  }
}
