#include "sameFile.h"

#include <system_error>

#include "casefile/error.h"
#include "outOfSight.h"

namespace casefile {

bool isSameFile(const files::FileIdentity& file, const std::string& name) {
  try {
    const auto status = files::statusOf(name);
    return status && status->identity == file;
  } catch (const std::system_error& error) {
    if (!isOutOfSight(error.code())) {
      throw Error(ErrorKind::system, "cannot be looked at", {name, "status", error.code(), {}, {}});
    }
    return false;
  }
}

void requireNoInput(const std::string& output, bool isInput) {
  if (isInput) {
    throw Error(ErrorKind::usage, "is the input, which is never changed", {output, "create", {}, {}, {}});
  }
}

}  // namespace casefile
