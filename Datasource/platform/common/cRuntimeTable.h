#ifndef DATASOURCE_PLATFORM_CRUNTIMETABLE_H
#define DATASOURCE_PLATFORM_CRUNTIMETABLE_H

#include "Datasource/platform/cRuntime.h"

namespace datasource::platform {

/// The platform's own table, in force unless a test replaces it.
extern const CRuntimeCalls systemCRuntime;

/// The tables' way to a file's identity, by the platform's own system calls; a success leaves errno alone.
int identityOf(int descriptor, FileIdentity* identity);

}  // namespace datasource::platform

#endif
