#ifndef DATASOURCE_SORTTEMP_LZ4COMPRESS_H
#define DATASOURCE_SORTTEMP_LZ4COMPRESS_H

#include <cstddef>

#include "Datasource/export.h"

/// Turns one whole buffer into one LZ4 block and back. Not used inside the library.
///
/// Counts above INT_MAX are not supported. Threads: any.
class DATASOURCE_API lz4CompressBlock {
 public:
  /// Compresses `inCount` bytes into at most `outCount` bytes of `dest`.
  /// `mode` 0: the fast compressor; any other value: the high-compression one at its default level.
  /// Requires: no pointer is null, no count 0 (assertion; a null pointer then gives 0).
  /// Returns: the compressed length; 0 when it does not fit.
  static std::size_t compressBlock(char* source, std::size_t inCount, char* dest, std::size_t outCount, int mode);

  /// Decompresses a block of `inCount` bytes into at most `outCount` bytes of `dest`.
  /// Requires: no pointer is null, no count 0 (assertion; a null pointer then gives (size_t)-1).
  /// Returns: the decompressed length, or for a damaged block LZ4's negative error code widened with
  ///   its sign, a value above INT_MAX.
  static std::size_t decompressBlock(char* source, std::size_t inCount, char* dest, std::size_t outCount);
};

#endif
