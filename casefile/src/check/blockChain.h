#ifndef CASEFILE_CHECK_BLOCKCHAIN_H
#define CASEFILE_CHECK_BLOCKCHAIN_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "blockSweep.h"
#include "casefile/range.h"
#include "compressedForm.h"
#include "layout.h"
#include "progressReport.h"
#include "sourceReader.h"

namespace casefile {

/// Blocks that are lost, with sound ones behind them.
struct BlockGap {
  std::size_t blocks = 0;    ///< how many
  LogicalRange range;        ///< their bytes
  int64 filePosition = 0;    ///< where the first one lies
  std::size_t nextKept = 0;  ///< the sound block behind them, by its number in the chain
  std::string why;           ///< what is wrong with the first
};

/// The sound blocks of a file from its heading on.
struct BlockChain {
  int64 row0 = 0;
  std::vector<bInfo> records;  ///< as the file was, gaps included in their logical positions
  std::vector<BlockGap> gaps;  ///< in order
  int64 logicalEnd = 0;        ///< of the case data
  int64 fileEnd = 0;           ///< behind the last block
  std::size_t blocks = 0;      ///< in front of the end, lost ones among them
  std::string fault;           ///< why what follows is no sound block; empty at the end of the file
};

/// Follows the sound blocks that lie back to back behind the heading at `row0`, needing no table, to the first that is
/// not sound.
/// Raises: Error (`cancelled`); what the source raises.
BlockChain followBlocks(SourceReader& source, int64 row0, ProgressReport& report);

/// As followBlocks, on several threads where the table names the blocks, and beyond blocks that are not sound: to the
/// next sound one that table or chain name. The chain names a block behind one whose zlib stream ends in a wrong check
/// value.
/// Raises: as followBlocks.
BlockChain followBeyondGaps(SourceReader& source, const Layout& layout, std::size_t threads, ProgressReport& report);

/// Returns: the chain as it is up to its first gap.
BlockChain upToFirstGap(const BlockChain& chain);

/// What lies where the blocks end.
struct Remainder {
  int64 bytes = 0;
  bool isTable = false;  ///< a position table, or what is left of one
  bool swapped = false;  ///< in the other byte order
};
Remainder remainderBehind(SourceReader& source, const BlockChain& chain);

}  // namespace casefile

#endif
