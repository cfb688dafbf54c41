#ifndef DATASOURCE_FORM_BLOCKREADER_H
#define DATASOURCE_FORM_BLOCKREADER_H

#include <cstddef>

#include "compressedForm.h"
#include "randomAccessReader.h"

namespace datasource::form {

/// Where the bytes of a block go: two buffers with room for `blockSize` bytes each.
struct BlockBuffers {
  unsigned char* compressed;
  unsigned char* plain;
  std::size_t blockSize;
  /// The most that is decompressed into `plain`, to notice a block that is longer than recorded.
  std::size_t capacity;
};

/// What a block turned out to be.
enum class BlockState {
  sound,             ///< exactly the recorded bytes came out
  impossibleRecord,  ///< the record's numbers cannot be right; nothing was read
  nothing,           ///< nothing at all came out
  wrongLength,       ///< another count of bytes than recorded came out
  incomplete         ///< the count is right, but the zlib stream has no end or a wrong check value
};

struct BlockResult {
  BlockState state = BlockState::impossibleRecord;
  std::size_t consumed = 0;  ///< compressed bytes that the zlib stream has
};

/// Reads a block's compressed bytes into `compressed`, which has room for `blockSize` bytes. Nothing is read
/// for a record whose numbers cannot be right.
/// Returns: the bytes that the file held of them.
std::size_t readCompressed(RandomAccessReader& file, const bInfo& record, unsigned char* compressed,
                           std::size_t blockSize);

/// Decompresses the `count` bytes of a block that were read into the buffers, and checks what comes out.
///
/// A block whose compressed form was cut at a block's size is sound when only the end of its check value is
/// missing: all data are there.
BlockResult unpackBlock(const bInfo& record, const BlockBuffers& buffers, std::size_t count);

/// Reads a block's compressed bytes, decompresses and checks them.
BlockResult readBlock(RandomAccessReader& file, const bInfo& record, const BlockBuffers& buffers);

}  // namespace datasource::form

#endif
