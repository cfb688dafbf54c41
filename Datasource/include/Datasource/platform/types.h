#ifndef DATASOURCE_PLATFORM_TYPES_H
#define DATASOURCE_PLATFORM_TYPES_H

#include <cstddef>
#include <cstdint>

/// A signed 64-bit position or offset in bytes. Every signature of the library uses this one name,
/// because the type behind it differs between platforms and an override must repeat it exactly.
using int64 = std::int64_t;

#endif
