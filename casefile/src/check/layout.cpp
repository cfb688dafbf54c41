#include "layout.h"

#include <algorithm>
#include <cstdint>

#include "arithmetic.h"
#include "faultWords.h"
#include "formReading.h"
#include "formRules.h"

namespace casefile {
namespace {

using datasource::form::FormReading;
using datasource::form::TableRecord;

constexpr auto kBlock = static_cast<int64>(kBlockSize);
constexpr std::size_t kBetweenReports = 2048;  // records

void takeFaults(const FormReading& form, Layout& layout) {
  for (const datasource::form::Fault& fault : form.faults()) {
    layout.faults.push_back(inPublicTerms(fault, layout));
  }
  if (form.unlistedFaults() > 0) {
    Fault rest;
    rest.what = std::to_string(form.unlistedFaults()) + " more faults are not listed";
    rest.hindersReading = form.unlistedHinder();
    layout.faults.push_back(std::move(rest));
  }
}

}  // namespace

int64 Layout::logicalEnd() const noexcept {
  return records.empty() ? place.row0 : positionPlus(logicalStarts.back(), believedRange(records.size() - 1).size);
}

LogicalRange Layout::believedRange(std::size_t block) const noexcept {
  if (block + 1 < logicalStarts.size()) {
    return {logicalStarts[block], logicalStarts[block + 1] - logicalStarts[block]};
  }
  const std::int32_t size = records[block].orginalSize;
  return {logicalStarts[block], size > 0 && size <= kBlock ? size : kBlock};
}

int64 Layout::blocksEnd() const noexcept {
  if (records.empty()) {
    return place.row0 + static_cast<int64>(kHeadingSize);
  }
  const bInfo& last = records.back();
  return isUsable(last) ? last.translatePos + last.translateSize : heading._infoPos;
}

int64 Layout::tableEnd() const noexcept {
  return datasource::form::tableLiesInFile(heading, fileSize) ? heading._infoPos + heading._size : fileSize;
}

bool Layout::tellsItsEnd() const noexcept {
  return std::none_of(faults.begin(), faults.end(), [](const Fault& fault) { return !fault.block && fault.isDamage; });
}

Layout readLayout(SourceReader& source, const Place& place, ProgressReport& report) {
  FormReading form(source, place.row0, place.swapped, FormReading::Leave::behindAThousandBreaks);
  Layout layout;
  layout.place = place;
  layout.fileSize = source.size();
  if (form.readHeading() && form.readTableHeader()) {
    form.readRecords([&](const TableRecord& next) {
      if (layout.records.size() % kBetweenReports == kBetweenReports - 1) {
        report.advance(0);
      }
      layout.records.push_back(next.record);
      layout.logicalStarts.push_back(next.logicalStart);
    });
  }
  layout.heading = form.heading();
  layout.unreadRecords = form.unreadRecords();
  takeFaults(form, layout);
  return layout;
}

}  // namespace casefile
