#ifndef CASEFILE_OUTOFSIGHT_H
#define CASEFILE_OUTOFSIGHT_H

#include <system_error>

namespace casefile {

/// Returns: whether this is why a name is not even looked at: the folder may not be searched, or the system has no such
///   names. Opening the file itself tells that better; any other failure of the system hides what there is.
bool isOutOfSight(const std::error_code& why) noexcept;

}  // namespace casefile

#endif
