#ifndef CASEFILE_BLOCKCHAIN_H
#define CASEFILE_BLOCKCHAIN_H

#include <optional>
#include <string>
#include <vector>

#include "blockCheck.h"
#include "compressedForm.h"
#include "layout.h"
#include "namedReader.h"

namespace casefile::program {

/// The sound blocks that lie back to back from a heading's end, found without any table.
struct BlockChain {
  int64 row0 = 0;
  std::vector<bInfo> records;
  int64 logicalEnd = 0;  ///< of the case data in the blocks
  int64 fileEnd = 0;     ///< behind the last block
  std::string fault;     ///< why what follows is no sound block
};

/// Follows the blocks from `row0` + 24 up to the first that is not sound.
/// Raises: Interrupted.
BlockChain followBlocks(NamedReader& source, int64 row0, bool showProgress);

/// What lies where the blocks end.
struct Remainder {
  int64 bytes = 0;
  bool isTable = false;  ///< a position table, or what is left of one
  bool swapped = false;  ///< in the other byte order
};
Remainder remainderBehind(NamedReader& source, const BlockChain& chain);

/// Finds the place of the case data in a file whose heading may be lost: by a heading that fits, by 24
/// zero bytes in front of a sound block, or by a position table that names a place with a sound block.
/// Raises: Failure (kRefused) when there is none or more than one.
Place findBlocks(NamedReader& source);

}  // namespace casefile::program

#endif
