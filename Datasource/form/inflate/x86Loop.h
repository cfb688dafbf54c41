#ifndef DATASOURCE_FORM_INFLATE_X86LOOP_H
#define DATASOURCE_FORM_INFLATE_X86LOOP_H

#include "fastLoops.h"

namespace datasource::form::inflating {

/// The loop for 64-bit x86 processors with BMI2 and SSSE3, which the caller has made sure of.
LoopEnd x86Loop(const BlockTables& tables, BitReader& reader, Output& output, unsigned char* stop) noexcept;

}  // namespace datasource::form::inflating

#endif
