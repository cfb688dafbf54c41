#include "systemErrorText.h"

#include <array>
#include <cstring>

namespace datasource::platform {
namespace {

using Text = std::array<char, 256>;

// strerror_r comes in two forms: one returns a status and fills the buffer, one returns the text.
[[maybe_unused]] std::string textOf(int status, const Text& buffer, int systemError) {
  return status == 0 ? buffer.data() : "error " + std::to_string(systemError);
}
[[maybe_unused]] std::string textOf(const char* text, const Text& /*buffer*/, int /*systemError*/) { return text; }

}  // namespace

std::string systemErrorText(int systemError) {
  Text buffer{};
  return textOf(strerror_r(systemError, buffer.data(), buffer.size()), buffer, systemError);
}

}  // namespace datasource::platform
