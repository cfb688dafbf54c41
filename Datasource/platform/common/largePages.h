#ifndef DATASOURCE_PLATFORM_LARGEPAGES_H
#define DATASOURCE_PLATFORM_LARGEPAGES_H

#include <cstddef>

namespace datasource::platform {

/// How many bytes a large page has, and of what its position in memory is a multiple; those of a usual one where the
/// system gives no others.
extern const std::size_t largePage;

/// Asks for large pages, each of which the system hands out and clears in one fault where it would take hundreds.
/// It is a wish: where it does nothing the memory serves as well.
///
/// Requires: both are multiples of largePage.
void preferLargePages(void* memory, std::size_t size) noexcept;

}  // namespace datasource::platform

#endif
