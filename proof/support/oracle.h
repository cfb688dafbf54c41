#ifndef PROOF_ORACLE_H
#define PROOF_ORACLE_H

#include <cstdint>
#include <optional>
#include <string>

#include "support/memoryDisk.h"

namespace proof {

/// One block as the oracle finds it.
struct FoundBlock {
  std::int64_t logical = 0;  ///< position of its first byte
  Bytes bytes;
  bool whole = false;  ///< zlib says that the stream ends and its check value fits
};

/// What a compressed data file holds, read by the file form's description alone: this reader shares nothing with
/// the library, and asks zlib for the blocks.
struct Contents {
  bool sound = false;      ///< every rule of the form holds, and every block is whole
  SparseBytes dictionary;  ///< the bytes in front of row 0
  std::vector<FoundBlock> blocks;
  /// Returns: dictionary part and case data. Requires: sound.
  SparseBytes logical() const;
};

/// Reads a file whose case data begin at `row0`, in either byte order.
Contents readByTheBook(const SparseBytes& file, std::int64_t row0, std::size_t blockSize);

/// Makes a file of the form, by the book too.
struct MakeOptions {
  bool otherOrder = false;
  int level = 1;
  std::size_t blockSize = 4096;
  std::size_t bytesBetweenBlocksAndTable = 0;
  Bytes behindTable;
  std::int64_t holeInFront = 0;         ///< so long, and not in the result, whose positions know of it
  std::int64_t holeInFrontOfTable = 0;  ///< the same
};
Bytes makeByTheBook(const std::string& dictionary, const Bytes& caseData, const MakeOptions& options = {});

}  // namespace proof

#endif
