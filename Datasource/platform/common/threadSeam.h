#ifndef DATASOURCE_PLATFORM_THREADSEAM_H
#define DATASOURCE_PLATFORM_THREADSEAM_H

namespace datasource::platform {

/// Asked before each thread that a pool starts; false makes the start fail as if the system had no
/// thread to give.
using ThreadStartHook = bool (*)();

/// Puts a hook in force; null removes it. For tests only, not exported. Threads: any.
/// Returns: the hook before.
ThreadStartHook setThreadStartHook(ThreadStartHook mayStart) noexcept;

}  // namespace datasource::platform

#endif
