#ifndef CASEFILE_VALUES_H
#define CASEFILE_VALUES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "boundary.h"
#include "casefile/cBasics.h"
#include "casefile/cReports.h"
#include "casefile/fault.h"
#include "casefile/progress.h"
#include "casefile/range.h"
#include "casefile/reader.h"

namespace casefile::c {

// The values of the C interface in those of the C++ one, and the other way round.

constexpr std::int64_t kNone = -1;  ///< a position that is not known

inline std::optional<std::int64_t> row0Of(std::int64_t row0) noexcept {
  return row0 == kNone ? std::nullopt : std::optional(row0);
}

/// Returns: the value of an enumeration that counts from 0 to `last`.
/// Raises: Error (`usage`) for other numbers.
template <class Enumeration>
Enumeration enumerated(std::int32_t value, Enumeration last) {
  if (value < 0 || value > static_cast<std::int32_t>(last)) {
    refuse("a number that means nothing");
  }
  return static_cast<Enumeration>(value);
}

inline ByteOrder byteOrderOf(std::int32_t value) { return enumerated(value, ByteOrder::other); }

/// Raises: Error (`usage`) for a null pointer with a length.
template <class Byte, class Void>
std::span<Byte> bytesOf(Void* bytes, std::size_t size) {
  if (bytes == nullptr && size != 0) {
    refuse("a null pointer with a length");
  }
  return {static_cast<Byte*>(bytes), size};
}

/// Hands out the room of a Writer or an Appender.
template <class Output>
void handOutRoom(Output& output, void** room, std::size_t* size) {
  required(room);
  required(size);
  const std::span<std::byte> free = output.room();
  *room = free.data();
  *size = free.size();
}

/// Returns: no callback for a null pointer.
ProgressCallback progressOf(casefile_progress_callback callback, void* user);

casefile_range toC(const LogicalRange& range) noexcept;
casefile_block toC(const Block& block) noexcept;
/// Its words stay the fault's.
casefile_fault toC(const Fault& fault) noexcept;

}  // namespace casefile::c

#endif
