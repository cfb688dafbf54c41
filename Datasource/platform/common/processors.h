#ifndef DATASOURCE_PLATFORM_PROCESSORS_H
#define DATASOURCE_PLATFORM_PROCESSORS_H

namespace datasource::platform {

/// Returns: how many processors this process may keep busy, at least 1: those that it may run on, and no more
///   than the time that the system allots to it in a period is worth.
unsigned usableProcessors() noexcept;

}  // namespace datasource::platform

#endif
