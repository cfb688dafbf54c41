#include "caseTable.h"

#include <algorithm>
#include <utility>

#include "casefile/error.h"
#include "check/layout.h"
#include "formReading.h"
#include "formRules.h"
#include "progressReport.h"

namespace casefile {
namespace {

using datasource::form::FormReading;
using datasource::form::Rule;
using datasource::form::TableRecord;

[[noreturn]] void refuseDamage(const std::string& file, const Place& place, const std::string& what) {
  throw Error(ErrorKind::damaged, what, {file, "open", {}, place.row0, {}});
}

// In the words in which all faults are told, which need the table to its end.
[[noreturn]] void refuse(SourceReader& source, const Place& place, const datasource::form::Fault& fault) {
  if (fault.rule == Rule::headingIsWhole || fault.rule == Rule::headingNamesItsPlace) {
    throw Error(ErrorKind::notADataFile, "has no heading at row-0 position " + std::to_string(place.row0),
                {source.name(), "open", {}, place.row0, {}});
  }
  ProgressReport unheard({}, source.name(), "open");
  for (const Fault& told : readLayout(source, place, unheard).faults) {
    if (told.hindersReading) {
      const std::string block = told.block && told.range ? blockName(*told.block, *told.range) + ": " : "";
      refuseDamage(source.name(), place, block + told.what);
    }
  }
  refuseDamage(source.name(), place, std::string("changed while it was opened: ") + nameOf(fault.rule));
}

}  // namespace

CaseTable::CaseTable(SourceReader& source, const Place& place) : place_(place) {
  FormReading reading(source, place.row0, place.swapped, FormReading::Leave::atFirstHindrance);
  const bool whole = reading.readHeading() && reading.readTableHeader() &&
                     reading.readRecords([&](const TableRecord& record) { records_.push_back(record.record); });
  if (const auto* const fault = datasource::form::firstHindrance(reading.faults()); fault != nullptr) {
    refuse(source, place, *fault);
  }
  if (!whole) {
    refuseDamage(source.name(), place, "its position table cannot be read to its end");
  }
  requireChain(source.name());
  blocksEnd_ = reading.blocksEnd();
  tablePos_ = reading.heading()._infoPos;
  tableEnd_ = tablePos_ + reading.heading()._size;
}

// The rules hold, so that the blocks are a chain; all lookups count on that.
void CaseTable::requireChain(const std::string& file) const {
  int64 expected = place_.row0;
  for (std::size_t block = 0; block < records_.size(); ++block) {
    if (!isUsable(records_[block]) || records_[block].orginalPos != expected) {
      refuseDamage(file, place_, "block " + std::to_string(block) + " does not follow the one before");
    }
    expected += records_[block].orginalSize;
  }
}

int64 CaseTable::logicalEnd() const noexcept {
  return records_.empty() ? place_.row0 : records_.back().orginalPos + records_.back().orginalSize;
}

LogicalRange CaseTable::range(std::size_t block) const noexcept {
  return {records_[block].orginalPos, records_[block].orginalSize};
}

std::size_t CaseTable::blockAt(int64 logical) const noexcept {
  const auto guess = static_cast<std::size_t>((logical - place_.row0) / static_cast<int64>(kBlockSize));
  if (guess < records_.size() && holds(records_[guess], logical)) {
    return guess;
  }
  const auto after = std::upper_bound(records_.begin(), records_.end(), logical,
                                      [](int64 position, const bInfo& record) { return position < record.orginalPos; });
  return static_cast<std::size_t>(after - records_.begin()) - 1;
}

std::string blockName(std::size_t block, const LogicalRange& range) {
  const std::string last = range.size > 1 ? " to " + std::to_string(range.end() - 1) : "";
  return "block " + std::to_string(block) + " (logical byte" + (last.empty() ? " " : "s ") +
         std::to_string(range.start) + last + ")";
}

}  // namespace casefile
