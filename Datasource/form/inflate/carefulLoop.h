#ifndef DATASOURCE_FORM_INFLATE_CAREFULLOOP_H
#define DATASOURCE_FORM_INFLATE_CAREFULLOOP_H

#include "fastLoops.h"

namespace datasource::form::inflating {

/// Inflates the block until it ends or at least `wanted` bytes are written, symbol by symbol, wherever input and
/// output end.
/// Returns: `damaged` also when the input ends before the block or a symbol's bytes have no room.
LoopEnd carefulLoop(const BlockCodes& codes, BitReader& reader, Output& output, std::size_t wanted) noexcept;

}  // namespace datasource::form::inflating

#endif
