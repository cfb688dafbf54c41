#include "partition.h"

#include <algorithm>

namespace casefile {
namespace {

// The record's beginning that lies nearest to a logical position.
int64 nearestRecord(int64 row0, int64 position, int64 recordSize) {
  const int64 rest = (position - row0) % recordSize;
  const int64 before = position - rest;
  return rest <= recordSize - rest || before > INT64_MAX - recordSize ? before : before + recordSize;
}

}  // namespace

std::vector<LogicalRange> partitionsOf(const CaseTable& table, std::size_t count, std::int64_t recordSize) {
  std::vector<LogicalRange> ranges;
  const std::size_t parts = std::min(count, table.size());
  int64 start = table.row0();
  for (std::size_t part = 1; part <= parts; ++part) {
    // The blocks are dealt out evenly; written so that no product overflows.
    const std::size_t block = table.size() / parts * part + table.size() % parts * part / parts;
    const int64 end =
        part == parts ? table.logicalEnd()
                      : std::min(nearestRecord(table.row0(), table.range(block).start, recordSize), table.logicalEnd());
    if (end > start) {
      ranges.push_back({start, end - start});
      start = end;
    }
  }
  return ranges;
}

}  // namespace casefile
