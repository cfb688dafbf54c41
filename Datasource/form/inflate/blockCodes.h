#ifndef DATASOURCE_FORM_INFLATE_BLOCKCODES_H
#define DATASOURCE_FORM_INFLATE_BLOCKCODES_H

#include "bitReader.h"
#include "canonicalCode.h"

namespace datasource::form::inflating {

/// The two codes of a deflate block.
struct BlockCodes {
  CanonicalCode lengths;  ///< literals, end of block and match lengths
  CanonicalCode distances;
};

/// Makes the codes that every block of the fixed kind has.
void makeFixedCodes(BlockCodes& codes) noexcept;

/// Reads the codes that stand at the beginning of a dynamic block.
/// Returns: whether they keep every rule, zlib's own among them: no symbol that means nothing is declared, no run
///   reaches too far, the block has an end, and a code is full unless it is one distance of one bit or none.
bool readCodes(BitReader& reader, BlockCodes& codes) noexcept;

}  // namespace datasource::form::inflating

#endif
