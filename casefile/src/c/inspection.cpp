#include <cstddef>
#include <cstdint>

#include "boundary.h"
#include "casefile/cReports.h"
#include "casefile/inspect.h"
#include "checkOptions.h"
#include "source.h"
#include "values.h"

struct casefile_inspection {
  casefile::Inspection found;
};

namespace casefile::c {
namespace {

InspectOptions optionsOf(const casefile_check_options* given) {
  const casefile_check_options options = known(given, checkDefaults());
  InspectOptions result;
  result.row0 = row0Of(options.row0);
  result.byteOrder = byteOrderOf(options.byte_order);
  result.progress = progressOf(options.progress, options.progress_user);
  return result;
}

casefile_inspection_info infoOf(const Inspection& found) noexcept {
  casefile_inspection_info info{};
  info.file_size = found.fileSize;
  info.row0 = found.row0;
  info.heading_row0 = found.headingRow0;
  info.table_position = found.tablePosition;
  info.table_size = found.tableSize;
  info.logical_size = found.logicalSize;
  info.blocks_end = found.blocksEnd;
  info.dead_bytes = found.deadBytes;
  info.blocks = found.blocks.size();
  info.unread_blocks = found.unreadBlocks;
  info.faults = found.faults.size();
  info.swapped = found.swapped ? 1 : 0;
  info.readable = found.readable() ? 1 : 0;
  info.journal = static_cast<std::int32_t>(found.unfinishedAppend.found);
  return info;
}

}  // namespace
}  // namespace casefile::c

using namespace casefile::c;

casefile_status casefile_inspect(const char* name, const casefile_check_options* options,
                                 casefile_inspection** inspection, casefile_error* error) {
  return making(inspection, error, [&] { return casefile::inspect(&required(name), optionsOf(options)); });
}

casefile_status casefile_inspect_source(const casefile_source* source, const casefile_check_options* options,
                                        casefile_inspection** inspection, casefile_error* error) {
  return making(inspection, error, [&] { return casefile::inspect(required(source).file, optionsOf(options)); });
}

casefile_status casefile_inspection_get_info(const casefile_inspection* inspection, casefile_inspection_info* info,
                                             size_t size, casefile_error* error) {
  return guarded(error, [&] { handOut(infoOf(required(inspection).found), info, size); });
}

casefile_status casefile_inspection_get_block(const casefile_inspection* inspection, size_t index,
                                              casefile_block* block, casefile_error* error) {
  return guarded(error, [&] { required(block) = toC(elementOf(required(inspection).found.blocks, index)); });
}

casefile_status casefile_inspection_get_fault(const casefile_inspection* inspection, size_t index,
                                              casefile_fault* fault, size_t size, casefile_error* error) {
  return guarded(error, [&] { handOut(toC(elementOf(required(inspection).found.faults, index)), fault, size); });
}

void casefile_inspection_free(casefile_inspection* inspection) { delete inspection; }
