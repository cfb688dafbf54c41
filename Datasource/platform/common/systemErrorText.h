#ifndef DATASOURCE_PLATFORM_SYSTEMERRORTEXT_H
#define DATASOURCE_PLATFORM_SYSTEMERRORTEXT_H

#include <string>

namespace datasource::platform {

/// Returns: the system's text for an errno value. Threads: any, at the same time.
std::string systemErrorText(int systemError);

}  // namespace datasource::platform

#endif
