#ifndef DATASOURCE_FORM_INFLATE_STRICTINFLATE_H
#define DATASOURCE_FORM_INFLATE_STRICTINFLATE_H

#include <cstddef>
#include <optional>

#include "fastInflate.h"
#include "fastLoops.h"

namespace datasource::form {

/// Inflates one whole zlib stream of up to `inCount` bytes into `dest`, which has room for `capacity` bytes, with the
/// inflater of this room: the fastest for long streams on little-endian machines of 64 bits.
///
/// Requires: neither pointer is null.
/// Returns: what came of it; nothing when the stream breaks any rule, ends too early, has a window of less than
///   32 KiB, does not fit or memory is short, and on other machines. What it takes zlib takes with the same bytes
///   and lengths.
/// Changes: any byte of `dest` up to the capacity, also behind the produced ones and also when nothing is
///   returned; never one behind the capacity.
/// Threads: any.
/// Cost: one allocation of some 75 KB a call and some 10 microseconds a deflate block, so that short streams cost more
///   than elsewhere.
std::optional<InflatedStream> strictInflate(const unsigned char* source, std::size_t inCount, unsigned char* dest,
                                            std::size_t capacity) noexcept;

namespace inflating {

/// The same on any machine, with this loop; without one (null) symbol by symbol.
std::optional<InflatedStream> strictInflateBy(FastLoopCall loop, const unsigned char* source, std::size_t inCount,
                                              unsigned char* dest, std::size_t capacity) noexcept;

}  // namespace inflating
}  // namespace datasource::form

#endif
