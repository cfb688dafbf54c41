#ifndef DATASOURCE_FORM_BLOCKCODEC_H
#define DATASOURCE_FORM_BLOCKCODEC_H

#include <cstddef>

// One whole block to one zlib stream and back, in one call each. What compresses faster, or otherwise, joins
// as a source of its own behind these functions; nobody else calls a codec for blocks.

namespace datasource::form {

/// How a call of the codec ended.
enum class Verdict {
  complete,    ///< the zlib stream's end was written, or met with a right check value
  needsInput,  ///< the input ends before the stream does
  outputFull,  ///< the output has no room for the rest
  damaged,     ///< the input is no zlib stream, or a damaged one
  noMemory,    ///< the codec got no memory
  misused      ///< the codec refused its arguments
};

/// What a call of the codec did.
struct CodecResult {
  Verdict verdict = Verdict::misused;
  std::size_t produced = 0;  ///< bytes in the output, whatever the verdict
  std::size_t consumed = 0;  ///< bytes taken from the input
  bool started = false;      ///< false: the codec could not even begin
};

/// The codec in force. Only the tests put in another call, to let it fail; no thread may be in one then.
struct CodecCalls {
  CodecResult (*compress)(const unsigned char* source, std::size_t count, unsigned char* dest, std::size_t capacity);
  CodecResult (*decompress)(const unsigned char* source, std::size_t count, unsigned char* dest, std::size_t capacity);
};
CodecCalls& codecCalls() noexcept;

/// Compresses `count` bytes with level 1 (fastest) into `dest`, which has room for `capacity` bytes. Both
/// lengths count by their low 32 bits.
/// Returns: `outputFull` with the cut stream when it does not fit.
/// Threads: any.
CodecResult compressBlock(const unsigned char* source, std::size_t count, unsigned char* dest, std::size_t capacity);

/// Decompresses the zlib stream that the `count` bytes at `source` begin with, as compressBlock. A whole and sound
/// one is left to faster inflaters (fastInflate.h), all else is zlib's.
/// Returns: the produced bytes are right as far as they go unless the verdict is `damaged`. Both lengths may be
///   used up at once: then `outputFull` means that more would come out, `needsInput` that nothing more would.
/// Changes: bytes of `dest` behind the produced ones may change too; never one behind the capacity.
CodecResult decompressBlock(const unsigned char* source, std::size_t count, unsigned char* dest, std::size_t capacity);

/// Returns: whether all `plainSize` bytes of a block come out of its zlib stream, because that was not cut or only the
///   check value at its end, or a part of it, is missing.
/// Cost: decompresses the stream; no memory but the codec's and 16 KiB.
bool yieldsAll(const unsigned char* cutStream, std::size_t count, std::size_t plainSize);

/// Returns: whether these two bytes may begin a zlib stream.
bool beginsZlibStream(const unsigned char* bytes) noexcept;

}  // namespace datasource::form

#endif
