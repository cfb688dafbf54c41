#ifndef DATASOURCE_FORM_BLOCKSIZE_H
#define DATASOURCE_FORM_BLOCKSIZE_H

#include <cstddef>

/// The one thing in which the proofs' build of the libraries differs: blocks of 4 KiB, so that a file of many
/// blocks is made and read in microseconds. It stands in front of Datasource/form/block.
inline constexpr std::size_t kBlockSize = 0x1000;

#endif
