#ifndef DATASOURCE_PLATFORM_PROCESSORQUOTA_H
#define DATASOURCE_PLATFORM_PROCESSORQUOTA_H

#include <string>

namespace datasource::platform {

/// Returns: how many processors the control groups of this process allot to it, a part of one counting as
///   one; 0: as many as there are. A group gives no more than those above it.
///
/// `root` stands in front of /proc and /sys; tests give a folder of their own.
unsigned processorQuota(const std::string& root = {});

}  // namespace datasource::platform

#endif
