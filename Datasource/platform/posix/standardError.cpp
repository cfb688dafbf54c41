#include "standardError.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace datasource::platform {

void writeToStandardError(std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace datasource::platform
