#ifndef CASEFILE_BLOCK_H
#define CASEFILE_BLOCK_H

#include <cstddef>
#include <span>
#include <vector>

#include "casefile/encoder.h"
#include "casefile/export.h"

// For programs that compress in one process, or on one machine, and put the file together in another.

namespace casefile {

/// Returns: how many uncompressed bytes each block of case data holds but a file's last one, which may hold fewer.
CASEFILE_API std::size_t blockSize() noexcept;

/// Compresses one whole block of case data, for Writer::writeBlock().
///
/// Returns: the bytes that a Writer would write for it by this encoder, at most blockSize().
/// Raises: Error: `usage` for another count of bytes than blockSize(), a null pointer, or an encoder that is not built
///   in; `doesNotFit` when the data hardly compress.
/// Threads: any number at once.
/// Cost: compresses on the caller's thread; blockSize() bytes of memory beside what is returned.
CASEFILE_API std::vector<std::byte> compressBlock(std::span<const std::byte> bytes,
                                                  Encoder encoder = Encoder::automatic);

}  // namespace casefile

#endif
