#ifndef PROOF_FUZZ_WHOLEFILES_H
#define PROOF_FUZZ_WHOLEFILES_H

#include <vector>

#include "damage/damages.h"
#include "fuzz/input.h"
#include "support/memoryDisk.h"

namespace proof {

/// A sound file and what it holds.
struct WholeFile {
  Shape shape;
  SparseBytes logical;  ///< dictionary part and case data
};

/// Returns: the sound files that targets begin with, in an order that does not change: corpora name them by number.
const std::vector<WholeFile>& wholeFiles();

/// Returns: the one that the input's next byte names.
const WholeFile& chosenFile(Input& input);

/// Changes a file as the input says: bytes replaced, flipped, left out, put in, copied, cut off. Once.
void edit(Bytes& file, Input& input);

}  // namespace proof

#endif
