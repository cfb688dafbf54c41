#ifndef DATASOURCE_FORM_INFLATE_FASTLOOPS_H
#define DATASOURCE_FORM_INFLATE_FASTLOOPS_H

#include <bit>
#include <cstddef>

#include "bitReader.h"
#include "blockCodes.h"
#include "stepTable.h"

// The loop that inflates all of a block but what lies near the ends of the buffers, once for each kind of processor.

namespace datasource::form::inflating {

/// How a loop over symbols ended.
enum class LoopEnd {
  stopped,     ///< near the input's end, or where it was to stop
  endOfBlock,  ///< the block's last symbol was taken
  damaged      ///< a word that means nothing, or a distance that reaches too far
};

/// The codes of the block in work, and the steps that they make.
struct BlockTables {
  BlockCodes codes;
  StepTable steps;
};

/// Where plain bytes go.
///
///     begin ... written ... next ... free ... end
struct Output {
  unsigned char* begin = nullptr;
  unsigned char* next = nullptr;
  unsigned char* end = nullptr;
};

/// The loop takes up no turn with fewer bytes of input than this: two refills of 8 bytes, which go on by 7 at most.
constexpr std::ptrdiff_t kInputAhead = 16;
/// It may write so many bytes behind where it is to stop: two steps and what the last copy has too much.
constexpr std::ptrdiff_t kOutputAhead = 1024;
static_assert(kOutputAhead > 3 * static_cast<std::ptrdiff_t>(kMostBytesOfAStep) + 64);

/// Inflates the block until it ends, the output has come to `stop` or the input is nearly used up.
///
/// Requires: a little-endian machine of 64 bits; kInputAhead bytes of input and no invented ones; kNoMatch bytes
///   are written and kOutputAhead free behind `stop`.
/// Changes: reader and output are where the loop ended. Bytes up to kOutputAhead behind `stop`.
using FastLoopCall = LoopEnd (*)(const BlockTables& tables, BitReader& reader, Output& output,
                                 unsigned char* stop) noexcept;

/// Whether the loops are for this machine: they read and write its words as the bytes stand in the stream.
constexpr bool kMachineFits = std::endian::native == std::endian::little && sizeof(std::size_t) == 8;

/// For every machine that fits.
LoopEnd portableLoop(const BlockTables& tables, BitReader& reader, Output& output, unsigned char* stop) noexcept;

/// Returns: the fastest loop for the processor at hand; null when no loop is for this machine.
FastLoopCall fastestLoop() noexcept;

}  // namespace datasource::form::inflating

#endif
