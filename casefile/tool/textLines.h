#ifndef CASEFILE_TEXTLINES_H
#define CASEFILE_TEXTLINES_H

#include <cstddef>
#include <span>
#include <string>

#include "casefile/appender.h"
#include "plainInput.h"

namespace casefile::program {

/// Returns: how much of a piece of text belongs to the line that it begins with or goes on with, its end included.
std::size_t restOfLine(std::span<const std::byte> piece);
/// Returns: whether the last byte of a piece ends a line.
bool endsLine(std::span<const std::byte> piece);

/// Leaves the first `count` lines of an input behind, which must be the dictionary part of the file that is appended
/// to. The end of the input ends a line too.
/// Raises: Failure (kRefused) that says where they differ.
void skipHeaderLines(PlainInput& input, int64 count, Appender& file, const std::string& fileName);

/// Returns: whether the file's dictionary part and the end of its case data are text, and its last line has no end:
///   what is appended goes on in it. False, too, where the file cannot be read, which appending tells.
bool endsInsideLine(Appender& file);

}  // namespace casefile::program

#endif
