#include "values.h"

namespace casefile::c {
namespace {

static_assert(CASEFILE_FAULT_HEADING_CUT == static_cast<int>(FaultKind::headingCut));
static_assert(CASEFILE_FAULT_TABLE_MARK == static_cast<int>(FaultKind::tableMark));
static_assert(CASEFILE_FAULT_HIDDEN_BLOCK == static_cast<int>(FaultKind::hiddenBlock));
static_assert(CASEFILE_FAULT_STREAM_DAMAGED == static_cast<int>(FaultKind::streamDamaged));
static_assert(CASEFILE_FAULT_UNLISTED == static_cast<int>(FaultKind::unlisted));
static_assert(CASEFILE_SEARCHING == static_cast<int>(Phase::searching));
static_assert(CASEFILE_READING == static_cast<int>(Phase::reading));
static_assert(CASEFILE_WRITING == static_cast<int>(Phase::writing));
static_assert(CASEFILE_FINISHING == static_cast<int>(Phase::finishing));

}  // namespace

ProgressCallback progressOf(casefile_progress_callback callback, void* user) {
  if (callback == nullptr) {
    return {};
  }
  return [callback, user](const Progress& progress) {
    const casefile_progress told{progress.bytesDone, progress.bytesInAll, static_cast<std::int32_t>(progress.phase)};
    return callback(user, &told) == 0 ? Next::proceed : Next::stop;
  };
}

casefile_range toC(const LogicalRange& range) noexcept { return {range.start, range.size}; }

casefile_block toC(const Block& block) noexcept { return {toC(block.range), block.filePosition, block.compressedSize}; }

casefile_fault toC(const Fault& fault) noexcept {
  casefile_fault result{};
  result.kind = static_cast<std::int32_t>(fault.kind);
  result.hinders_reading = fault.hindersReading ? 1 : 0;
  result.is_damage = fault.isDamage ? 1 : 0;
  result.block = fault.block ? static_cast<std::int64_t>(*fault.block) : kNone;
  result.file_position = fault.filePosition.value_or(kNone);
  result.range = toC(fault.range.value_or(LogicalRange{kNone, 0}));
  result.what = fault.what.c_str();
  return result;
}

}  // namespace casefile::c
