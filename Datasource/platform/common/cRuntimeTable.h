#ifndef DATASOURCE_PLATFORM_CRUNTIMETABLE_H
#define DATASOURCE_PLATFORM_CRUNTIMETABLE_H

#include "Datasource/platform/cRuntime.h"

namespace datasource::platform {

/// The platform's own table, in force unless a test replaces it.
extern const CRuntimeCalls systemCRuntime;

}  // namespace datasource::platform

#endif
