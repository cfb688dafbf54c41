#ifndef DATASOURCE_SORTTEMP_ZLIBCOMPRESS_H
#define DATASOURCE_SORTTEMP_ZLIBCOMPRESS_H

#include <cstddef>

#include "Datasource/export.h"

/// Turns one whole buffer into one zlib stream and back, in one call each.
///
/// Lengths are passed to zlib as 32-bit counts. A whole stream is decompressed by faster means.
/// Threads: an object serves one call at a time; different objects are independent.
class DATASOURCE_API zlibCompressBlock {
 public:
  /// Compresses `inCount` bytes with level 1 (fastest) into `dest`, whose capacity is `outCount`.
  /// Returns: the compressed length, also stored in `outCount`; 0 on failure (`outCount` unchanged).
  /// Kept as is: an output that does not fit is cut at the capacity and counts as success; `complete`
  ///   tells.
  int compressBlock(unsigned char* source, std::size_t inCount, unsigned char* dest, std::size_t& outCount);

  /// Decompresses one zlib stream of `inCount` bytes into `dest`, whose capacity is `outCount`.
  /// Returns: the length produced, also stored in `outCount`; 0 on failure or when nothing came out.
  /// Changes: bytes of `dest` behind the produced ones may change too, never one behind the capacity.
  /// Kept as is: damaged input counts as success with what came out before the damage; `complete`
  ///   tells.
  int decompressBlock(unsigned char* source, std::size_t inCount, unsigned char* dest, std::size_t& outCount);

  /// Decompresses into a buffer that is allocated with malloc and grown until all fits. On entry
  /// `outCount` is the first guess of its size (0 counts as 1).
  /// Returns: 0 with the buffer in `dest`, which the caller frees with free(), and its valid length in
  ///   `outCount`; -1 on failure or past 4 GiB: there is nothing to free then.
  /// Kept as is: sizes grow by 2, 3, 4, ... times; after a zlib usage error `dest` keeps the freed
  ///   address.
  static int inflateToNew(unsigned char* source, std::size_t inCount, unsigned char*& dest, std::size_t& outCount);

  /// Stores the four arguments of a call in the object.
  void setArguments(unsigned char* source, std::size_t inputCount, unsigned char* destination,
                    std::size_t outputCount) noexcept;

  /// Returns: whether the last call saw the zlib stream's end, its check value included.
  bool complete() const noexcept { return complete_; }

 private:
  enum class Direction { compress, decompress };
  DATASOURCE_LOCAL int runOnce(Direction direction, unsigned char* source, std::size_t sourceCount,
                               unsigned char* destination, std::size_t& destinationCount);

  std::size_t inCount = 0;
  unsigned char* souce = nullptr;
  std::size_t outCount = 0;
  unsigned char* dest = nullptr;
  bool complete_ = false;
};

#endif
