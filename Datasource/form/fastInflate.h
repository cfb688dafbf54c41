#ifndef DATASOURCE_FORM_FASTINFLATE_H
#define DATASOURCE_FORM_FASTINFLATE_H

#include <cstddef>
#include <optional>

namespace datasource::form {

/// What came of a zlib stream that was inflated to its end.
struct InflatedStream {
  std::size_t consumed;  ///< bytes of the stream, its check value included
  std::size_t produced;  ///< plain bytes
};

/// Inflates one whole zlib stream of up to `inCount` bytes into `dest`, which has room for `capacity` bytes, two to
/// four times as fast as zlib, but with no other answer than the whole stream: a long one by this room's own inflater
/// (inflate/strictInflate.h), a short one, or what that does not take, by libdeflate.
///
/// Returns: what came of it; nothing when the stream is damaged, cut or longer than the capacity, when a pointer
///   is null, a length is 4 GiB or more, or memory is short. zlib then tells which it was, and what there is.
/// Changes: any byte of `dest` up to the capacity, also behind the produced ones and also when nothing is
///   returned; never one behind the capacity.
/// Threads: any.
/// Cost: one allocation a call, of some 12 KB or, for a long stream, 75 KB; a stream that the first does not take is
///   inflated twice.
/// Kept as is: it takes a few streams that zlib calls damaged although their check value is right; docs/kept-as-is.md
///   has them.
std::optional<InflatedStream> fastInflate(const unsigned char* source, std::size_t inCount, unsigned char* dest,
                                          std::size_t capacity) noexcept;

}  // namespace datasource::form

#endif
