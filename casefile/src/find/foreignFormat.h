#ifndef CASEFILE_FIND_FOREIGNFORMAT_H
#define CASEFILE_FIND_FOREIGNFORMAT_H

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "randomAccessReader.h"

namespace casefile {

/// Returns: by the first bytes of a file, what other program's it is ("a gzip file"; zstd, xz, zip and bzip2 are
///   known, too); null, when none of these.
const char* foreignFormat(std::span<const unsigned char> beginning) noexcept;

/// Returns: "is a gzip file, no compressed data file" of a file that begins so; else nothing.
/// Raises: what the source raises.
std::optional<std::string> wordsForForeign(datasource::form::RandomAccessReader& source);

}  // namespace casefile

#endif
