#ifndef CASEFILE_PLAINCOPY_H
#define CASEFILE_PLAINCOPY_H

#include "layout.h"
#include "namedReader.h"
#include "plainOutput.h"
#include "progress.h"

namespace casefile::program {

/// Logical positions from `from` up to, without, `to`.
struct LogicalRange {
  int64 from;
  int64 to;
};

/// Writes a range of the uncompressed file: what lies in the dictionary part as it is, case data through
/// the library; `ahead` as for CaseReader.
/// Requires: the range ends at the logical end or before.
void copyLogical(NamedReader& source, const Layout& layout, LogicalRange range, bool ahead, PlainOutput& output,
                 Progress& progress);

}  // namespace casefile::program

#endif
