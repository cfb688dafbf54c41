#include "sameFile.h"

#include <exception>

#include "casefile/error.h"

namespace casefile {

bool isSameFile(const files::FileIdentity& file, const std::string& name) noexcept {
  try {
    const auto status = files::statusOf(name);
    return status && status->identity == file;
  } catch (const std::exception&) {
    return false;
  }
}

void requireNoInput(const std::string& output, bool isInput) {
  if (isInput) {
    throw Error(ErrorKind::usage, "is the input, which is never changed", {output, "create", {}, {}, {}});
  }
}

}  // namespace casefile
