#ifndef CASEFILE_TEXTLINES_H
#define CASEFILE_TEXTLINES_H

#include <cstddef>
#include <span>

namespace casefile {

/// Returns: how much of a piece of text belongs to the line that it begins with or goes on with, its end included.
std::size_t restOfLine(std::span<const std::byte> piece) noexcept;
/// Returns: whether the last byte of a piece ends a line.
bool endsLine(std::span<const std::byte> piece) noexcept;

}  // namespace casefile

#endif
