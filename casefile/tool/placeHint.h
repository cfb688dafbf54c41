#ifndef CASEFILE_PROGRAM_PLACEHINT_H
#define CASEFILE_PROGRAM_PLACEHINT_H

#include <optional>
#include <string>

#include "Datasource/platform/types.h"
#include "casefile/error.h"
#include "casefile/reader.h"

namespace casefile::program {

/// What the user said about where to look.
struct PlaceHint {
  std::optional<int64> row0;
  bool swap = false;  ///< the file has the other byte order; otherwise either is looked for

  ByteOrder byteOrder() const noexcept { return swap ? ByteOrder::other : ByteOrder::find; }
};

/// Tells that case data were not found, and which option helps when the user did not use it.
/// Raises: Failure, unless the error is another one.
void explainPlace(const Error& error, bool row0WasTold);

/// Does what needs the place of the case data.
/// Returns: what `work` returns. Raises: as explainPlace, and what `work` raises.
template <typename Work>
auto withPlaceExplained(bool row0WasTold, Work work) {
  try {
    return work();
  } catch (const Error& error) {
    explainPlace(error, row0WasTold);
    throw;
  }
}

/// Says, as a detail, where a file's case data begin, in which byte order, and how many blocks it has.
void tellPlace(const std::string& file, int64 row0, bool swapped, std::size_t blocks);

/// Returns: "logical bytes 100 to 199"; first and last byte are named.
std::string rangeName(const LogicalRange& range);
/// Returns: "block 3 (logical bytes 100 to 199)".
std::string blockName(std::size_t block, const LogicalRange& range);

}  // namespace casefile::program

#endif
