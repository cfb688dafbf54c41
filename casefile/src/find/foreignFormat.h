#ifndef CASEFILE_FIND_FOREIGNFORMAT_H
#define CASEFILE_FIND_FOREIGNFORMAT_H

#include <optional>
#include <string>

#include "randomAccessReader.h"

namespace casefile {

/// Returns: "is a gzip file, no compressed data file" of a file that begins so; else nothing.
/// Raises: what the source raises.
std::optional<std::string> wordsForForeign(datasource::form::RandomAccessReader& source);

}  // namespace casefile

#endif
