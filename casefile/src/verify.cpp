#include "casefile/verify.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "arithmetic.h"
#include "check/blockCheck.h"
#include "check/blockSweep.h"
#include "check/layout.h"
#include "hiddenData.h"
#include "journal/unfinishedAppend.h"
#include "locate.h"
#include "progressReport.h"
#include "sourceReader.h"
#include "threadCount.h"

namespace casefile {
namespace {

bool isOfBlock(const Fault& fault) { return fault.block.has_value(); }

// Those of the file, then those of blocks by block: a block's records first.
std::vector<Fault> inOrder(std::vector<Fault> faults, std::vector<Fault> ofBlocks) {
  for (Fault& fault : ofBlocks) {
    faults.push_back(std::move(fault));
  }
  const auto blocks = std::stable_partition(faults.begin(), faults.end(), [](const Fault& f) { return !isOfBlock(f); });
  std::stable_sort(blocks, faults.end(), [](const Fault& a, const Fault& b) { return *a.block < *b.block; });
  return faults;
}

// Leaves out the faults of blocks beyond the first thousand.
void limitBlocks(std::vector<Fault>& faults) {
  std::size_t blocks = 0;
  std::optional<std::size_t> last;
  for (auto fault = faults.begin(); fault != faults.end(); ++fault) {
    if (fault->block && fault->block != last) {
      last = fault->block;
      if (++blocks > kMostListed) {
        faults.erase(fault, faults.end());
        return;
      }
    }
  }
}

// Joins the ranges of neighbours.
void listLost(const Layout& layout, const std::vector<bool>& damaged, Verification& told) {
  for (std::size_t block = 0; block < damaged.size(); ++block) {
    if (!damaged[block]) {
      continue;
    }
    const int64 start = layout.logicalStarts[block];
    ++told.damagedBlocks;
    for (; block + 1 < damaged.size() && damaged[block + 1]; ++block) {
      ++told.damagedBlocks;
    }
    if (told.lost.size() < kMostListed) {
      told.lost.push_back({start, layout.believedRange(block).end() - start});
    } else {
      ++told.unlistedLost;
    }
  }
}

// A file that is sound by itself may still not be all that there is.
void addHiddenData(SourceReader& source, const Layout& layout, ProgressReport& report, Verification& told) {
  if (const auto hidden = hiddenData(source, layout, layout.blocksEnd(), report)) {
    told.faults.push_back({FaultKind::otherData,
                           {},
                           hidden->position,
                           {},
                           "row-0 position " + std::to_string(layout.place.row0) + " " + hidden->words,
                           false,
                           true});
  }
}

// A last record that gives its block a wrong size tells wrongly where the blocks end, and the rule that looks there for
// another one sees nothing.
void addHiddenBlock(SourceReader& source, const Layout& layout, const std::vector<bool>& damaged, Verification& told) {
  if (damaged.empty() || !damaged.back()) {
    return;
  }
  const bInfo& last = layout.records.back();
  if (last.translatePos <= layout.place.row0 || last.translatePos >= layout.fileSize) {
    return;
  }
  BlockCheck check(source);
  const auto facts = check.inspect(last.translatePos);
  const int64 end = positionPlus(last.translatePos, facts.compressedSize);
  const bool isLookedAt = end == layout.blocksEnd() || end >= layout.heading._infoPos;
  if (facts.sound() && !isLookedAt && check.inspect(end).sound()) {
    told.faults.push_back(
        {FaultKind::hiddenBlock,
         {},
         end,
         {},
         "a block that no record names begins where the last one's zlib stream ends, at " + std::to_string(end),
         false,
         true});
  }
}

}  // namespace

Verification verify(std::shared_ptr<const RandomAccessFile> file, const VerifyOptions& options) {
  SourceReader source(std::move(file));
  ProgressReport report(options.progress, source.name(), "verify");
  Layout layout = readLayout(source, locate(source, options.row0, options.byteOrder, report), report);
  SweptBlocks swept = BlockSweep(source, layout, report).run(threadCount(options.threads));
  Verification told;
  told.row0 = layout.place.row0;
  told.swapped = layout.place.swapped;
  told.blocks = layout.records.size();
  told.caseBytes = layout.logicalEnd() - layout.place.row0;
  told.deadBytes = layout.fileSize - layout.tableEnd();
  for (const Fault& fault : layout.faults) {
    if (fault.block && fault.isDamage) {
      swept.damaged[*fault.block] = true;
    }
  }
  listLost(layout, swept.damaged, told);
  told.faults = layout.faults;
  addHiddenBlock(source, layout, swept.damaged, told);
  told.faults = inOrder(std::move(told.faults), std::move(swept.faults));
  limitBlocks(told.faults);
  if (told.sound()) {
    addHiddenData(source, layout, report, told);
  }
  return told;
}

Verification verify(const std::string& name, const VerifyOptions& options) {
  JudgedFile judged = openAsAppendFinds(name);
  Verification told = verify(std::move(judged.bytes), options);
  told.unfinishedAppend = std::move(judged.append);
  told.asBeforeAppend = judged.asBefore;
  return told;
}

}  // namespace casefile
