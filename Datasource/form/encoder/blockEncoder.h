#ifndef DATASOURCE_FORM_ENCODER_BLOCKENCODER_H
#define DATASOURCE_FORM_ENCODER_BLOCKENCODER_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "blockCodec.h"

// The ways to compress a block. Whoever reads a file cannot tell by which its blocks were written and need not
// care: each writes one zlib stream that begins with the bytes 78 01 and ends with the check value of its data.

namespace datasource::form {

/// A compressor of whole blocks, one of several.
///
/// Threads: an object serves one call at a time; different objects are independent.
class BlockEncoder {
 public:
  BlockEncoder(const BlockEncoder&) = delete;
  BlockEncoder& operator=(const BlockEncoder&) = delete;
  virtual ~BlockEncoder() = default;

  /// Returns: the name by which users choose it.
  virtual std::string_view name() const noexcept = 0;

  /// Returns: the most bytes that `count` plain bytes can take. A smaller capacity is allowed too.
  virtual std::size_t bound(std::size_t count) const noexcept = 0;

  /// Compresses `count` bytes into `dest`, which has room for `capacity` bytes.
  /// Requires: neither pointer is null, both lengths are below 4 GiB.
  /// Returns: `complete` with what was produced, or `outputFull` when the stream does not fit (an encoder may say
  ///   so for a stream that would fit to the byte), or `noMemory`.
  /// Changes: any byte of `dest` up to the capacity, whatever the verdict; never one behind it.
  virtual CodecResult compress(const unsigned char* source, std::size_t count, unsigned char* dest,
                               std::size_t capacity) = 0;

 protected:
  BlockEncoder() = default;
};

/// Which encoder to use.
enum class EncoderChoice {
  automatic,   ///< the fastest one that is built in
  zlib,        ///< level 1, the bytes that the streams write
  libdeflate,  ///< level 1
  isal,        ///< ISA-L's level 1; built in where the build machine had the library
  fast         ///< of this room (deflate/fastDeflate.h)
};

/// Returns: the encoders that are built in, the fastest one first.
const std::vector<EncoderChoice>& builtInEncoders();

/// Returns: the choice of this name ("auto", "zlib", "libdeflate", "isal", "fast"), built in or not; nothing for any
///   other.
std::optional<EncoderChoice> encoderNamed(std::string_view name) noexcept;

/// Returns: an encoder; null when it is not built in. Raises: std::bad_alloc.
std::unique_ptr<BlockEncoder> makeEncoder(EncoderChoice choice);

/// Compresses a block by `encoder`, and by zlib where it did not fit, so that a block is refused by every encoder
/// or by none.
/// Requires, returns, changes: as BlockEncoder::compress; what zlib says is final.
CodecResult encodeBlock(BlockEncoder& encoder, const unsigned char* source, std::size_t count, unsigned char* dest,
                        std::size_t capacity);

}  // namespace datasource::form

#endif
