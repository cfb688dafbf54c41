#ifndef CASEFILE_BLOCKBYTES_H
#define CASEFILE_BLOCKBYTES_H

#include <cstddef>
#include <optional>

#include "encoder/blockEncoder.h"

namespace casefile {

/// Compresses a block's `count` bytes into `dest`, which has room for a block. As the streams do, a stream that is cut
/// inside its check value counts, since all data come out of it.
///
/// Returns: how many bytes of `dest` it takes; nothing when it does not fit.
/// Raises: std::bad_alloc.
std::optional<std::size_t> compressInto(datasource::form::BlockEncoder& encoder, const std::byte* bytes,
                                        std::size_t count, std::byte* dest);

/// Inflates into `scratch`, which has room for a block.
///
/// Returns: whether `count` bytes are the compressed form of one whole block, and nothing else.
bool isWholeBlock(std::byte* compressed, std::size_t count, std::byte* scratch) noexcept;

}  // namespace casefile

#endif
