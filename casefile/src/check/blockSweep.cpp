#include "blockSweep.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace casefile {
namespace {

// How many bytes will be reported.
int64 compressedBytes(const std::vector<bInfo>& records) {
  return std::accumulate(records.begin(), records.end(), int64{0}, [](int64 sum, const bInfo& record) {
    return sum + (isUsable(record) ? record.translateSize : 0);
  });
}

}  // namespace

BlockSweep::BlockSweep(SourceReader& source, const Layout& layout, ProgressReport& report)
    : source_(source), layout_(layout), report_(report) {}

SweptBlocks BlockSweep::run(std::size_t threads) {
  const std::size_t blocks = layout_.records.size();
  workers_ = std::vector<Worker>(std::max<std::size_t>(1, std::min(threads, blocks)));
  swept_ = {std::vector<bool>(blocks), {}};
  report_.begin(Phase::reading, compressedBytes(layout_.records));
  pipeline::runInOrder(*this, blocks, workers_.size());
  return std::move(swept_);
}

void BlockSweep::make(std::size_t item, std::size_t worker) {
  Worker& own = workers_[worker];
  own.found.reset();
  if (isUsable(layout_.records[item])) {
    if (!own.check) {
      own.check.emplace(source_);
    }
    own.found = own.check->faultOf(layout_.records[item]);
  }
}

void BlockSweep::deliver(std::size_t item, std::size_t worker) {
  const bInfo& record = layout_.records[item];
  std::optional<StreamFault>& found = workers_[worker].found;
  swept_.damaged[item] = found || !isUsable(record);
  if (found && swept_.faults.size() < kMostListed) {
    swept_.faults.push_back(
        {found->kind, item, record.translatePos, layout_.believedRange(item), std::move(found->what), true, true});
  }
  report_.advance(isUsable(record) ? record.translateSize : 0);
}

}  // namespace casefile
