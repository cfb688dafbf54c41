#ifndef DATASOURCE_SRC_BLOCKWRITING_H
#define DATASOURCE_SRC_BLOCKWRITING_H

#include <cstddef>

/// A block's compressed form as it goes to the file.
struct CompressedBlock {
  std::size_t size = 0;    ///< its bytes; 0 when the codec made nothing
  bool losesData = false;  ///< it was cut, and not all of the block comes out of it
};

/// Compresses `count` bytes into `dest`, which has room for `capacity` bytes.
/// Kept as is: a form that does not fit is cut there.
CompressedBlock compressForFile(const unsigned char* source, std::size_t count, unsigned char* dest,
                                std::size_t capacity);

/// Reports that the codec made nothing of a block (assertion "ret != 0"). Requires: the writer has noted already
/// that it has failed.
void reportNothingMade();

#endif
