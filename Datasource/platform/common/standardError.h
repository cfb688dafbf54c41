#ifndef DATASOURCE_PLATFORM_STANDARDERROR_H
#define DATASOURCE_PLATFORM_STANDARDERROR_H

#include <string_view>

namespace datasource::platform {

/// Writes text to standard error past the stream's buffer and orientation (a stream that the program
/// made wide would swallow narrow text). What cannot be written is lost.
void writeToStandardError(std::string_view text) noexcept;

}  // namespace datasource::platform

#endif
