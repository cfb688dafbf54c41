#ifndef DATASOURCE_FORM_BLOCKSIZE_H
#define DATASOURCE_FORM_BLOCKSIZE_H

#include <cstddef>

/// Uncompressed bytes of a whole block, and the size of every block buffer. A number of the file form: no build
/// that makes files for others has another one. It stands alone so that a build for proofs can put a header with
/// a smaller one in front of this.
inline constexpr std::size_t kBlockSize = 0x3FF000;

static_assert(kBlockSize == 4190208);

#endif
