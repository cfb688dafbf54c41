#include "systemErrorText.h"

#include <string.h>

#include <array>

namespace datasource::platform {

std::string systemErrorText(int systemError) {
  std::array<char, 256> buffer{};
  const std::string number = "error " + std::to_string(systemError);
  if (strerror_s(buffer.data(), buffer.size(), systemError) != 0) return number;
  // For a value that it does not know, the runtime's text leaves out which one it is.
  const std::string text = buffer.data();
  return text == "Unknown error" ? text + " (" + number + ")" : text;
}

}  // namespace datasource::platform
