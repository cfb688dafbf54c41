#include "casefile/version.h"

#include "encoder/blockEncoder.h"

namespace casefile {

const char* version() noexcept { return CASEFILE_VERSION_STRING; }

std::vector<std::string> codecs() {
  std::vector<std::string> names;
  for (const auto choice : datasource::form::builtInEncoders()) {
    names.emplace_back(datasource::form::makeEncoder(choice)->name());
  }
  return names;
}

}  // namespace casefile
