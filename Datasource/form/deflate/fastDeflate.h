#ifndef DATASOURCE_FORM_DEFLATE_FASTDEFLATE_H
#define DATASOURCE_FORM_DEFLATE_FASTDEFLATE_H

#include <cstddef>

#include "blockWriter.h"
#include "matchFinder.h"
#include "tokens.h"

namespace datasource::form {

/// Makes one zlib stream (RFC 1950) of a buffer, in one pass of tokens and one of bits for each deflate block: fast
/// before small, and the same bytes on every machine.
///
/// Threads: an object serves one call at a time; different objects are independent.
/// Cost: 230 KiB of memory, nothing more when it compresses.
class FastDeflate {
 public:
  /// Returns: the most bytes that `count` bytes can take.
  static std::size_t bound(std::size_t count) noexcept;

  /// Compresses `count` bytes into `dest`, which has room for `capacity` bytes.
  /// Returns: the stream's length; 0 when it does not fit.
  /// Changes: any byte of `dest` up to the capacity, never one behind it.
  std::size_t compress(const unsigned char* source, std::size_t count, unsigned char* dest,
                       std::size_t capacity) noexcept;

 private:
  deflating::MatchFinder finder_;
  deflating::Tokens tokens_;
  deflating::BlockWriter writer_;
};

}  // namespace datasource::form

#endif
