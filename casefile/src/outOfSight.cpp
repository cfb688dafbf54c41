#include "outOfSight.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace casefile {

bool isOutOfSight(const std::error_code& why) noexcept {
  constexpr std::array kReasons = {EACCES, EPERM, ENAMETOOLONG, ENOTDIR, ELOOP, EINVAL};
  return std::find(kReasons.begin(), kReasons.end(), why.value()) != kReasons.end();
}

}  // namespace casefile
