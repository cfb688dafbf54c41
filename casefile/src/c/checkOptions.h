#ifndef CASEFILE_CHECKOPTIONS_H
#define CASEFILE_CHECKOPTIONS_H

#include "casefile/cReports.h"

namespace casefile::c {

/// Returns: what inspecting and verifying take for granted.
casefile_check_options checkDefaults() noexcept;

}  // namespace casefile::c

#endif
