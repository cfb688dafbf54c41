#include "standardError.h"

#include <io.h>
#include <stdio.h>

#include <algorithm>
#include <cstddef>

namespace datasource::platform {

void writeToStandardError(std::string_view text) noexcept {
  const int descriptor = _fileno(stderr);
  if (descriptor < 0) return;  // a program without a console has none
  while (!text.empty()) {
    const auto count = static_cast<unsigned int>(std::min<std::size_t>(text.size(), 1U << 16));
    const int written = _write(descriptor, text.data(), count);
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace datasource::platform
