#ifndef CASEFILE_PARTITION_H
#define CASEFILE_PARTITION_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "caseTable.h"
#include "casefile/range.h"

namespace casefile {

/// See Reader::partitions. Requires: neither number is 0 or negative.
std::vector<LogicalRange> partitionsOf(const CaseTable& table, std::size_t count, std::int64_t recordSize);

}  // namespace casefile

#endif
