#include "casefile/recover.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "atomicFile.h"
#include "casefile/error.h"
#include "check/blockChain.h"
#include "check/findBlocks.h"
#include "check/layout.h"
#include "check/rebuild.h"
#include "files.h"
#include "hiddenData.h"
#include "journal/beforeAppend.h"
#include "progressReport.h"
#include "regularFile.h"
#include "sameFile.h"
#include "sourceReader.h"
#include "threadCount.h"

namespace casefile {
namespace {

constexpr auto kHead = static_cast<int64>(kHeadingSize);

void requirePossible(const std::string& file, const RecoverOptions& options) {
  if (options.partial && options.holes != Holes::stop) {
    throw Error(ErrorKind::usage, "plain data end where the damage begins", {file, "recover", {}, {}, {}});
  }
  if (options.holes < Holes::stop || options.holes > Holes::zero) {
    throw Error(ErrorKind::usage, "there is no such way with holes", {file, "recover", {}, {}, {}});
  }
}

// A place that was found and not told is the right one only if nothing else lies behind it.
void refuseAnotherPlace(SourceReader& source, const Layout& layout, const BlockChain& chain, ProgressReport& report) {
  if (const auto hidden = hiddenData(source, layout, chain.fileEnd, report)) {
    throw Error(ErrorKind::notADataFile, "row-0 position " + std::to_string(layout.place.row0) + " " + hidden->words,
                {source.name(), "find", {}, hidden->position, {}});
  }
}

Loss ofGap(const BlockGap& gap) { return {gap.blocks, gap.range, gap.filePosition, gap.why}; }

// What heading or table tell that there was behind the chain.
std::optional<Loss> lossBehind(const SourceReader& source, const Layout& layout, const BlockChain& chain,
                               const Remainder& rest) {
  if (source.size() < layout.place.row0 + kHead) {
    return Loss{{}, {layout.place.row0, 0}, source.size(), "the file ends inside its heading"};
  }
  const std::size_t announced = layout.records.size() + layout.unreadRecords;
  if (announced > chain.blocks) {
    const int64 end = layout.logicalEnd() + static_cast<int64>(layout.unreadRecords * kBlockSize);
    return Loss{announced - chain.blocks,
                {chain.logicalEnd, std::max<int64>(1, end - chain.logicalEnd)},
                chain.fileEnd,
                chain.fault.empty() ? "the file ends" : chain.fault};
  }
  const bool headingHolds =
      layout.heading._caseStartPos == layout.place.row0 && layout.heading._infoPos >= chain.fileEnd;
  const bool more = headingHolds ? layout.heading._infoPos > chain.fileEnd : rest.bytes > 0;
  if (!more || rest.isTable) {
    return std::nullopt;
  }
  return Loss{{}, {chain.logicalEnd, 0}, chain.fileEnd, chain.fault.empty() ? "the file ends" : chain.fault};
}

void listLosses(const BlockChain& chain, std::optional<Loss> behind, Recovery& told) {
  const std::size_t listed = std::min(chain.gaps.size(), kMostListed);
  std::transform(chain.gaps.begin(), chain.gaps.begin() + static_cast<std::ptrdiff_t>(listed),
                 std::back_inserter(told.losses), ofGap);
  told.unlistedLosses = chain.gaps.size() - listed;
  if (behind) {
    told.losses.push_back(std::move(*behind));
  }
}

int64 bytesOf(const BlockChain& chain) {
  int64 bytes = 0;
  for (const bInfo& record : chain.records) {
    bytes += record.orginalSize;
  }
  return bytes;
}

// Rescues one file into another.
class Rescue {
 public:
  Rescue(SourceReader& source, const RecoverOptions& options)
      : source_(source),
        options_(options),
        threads_(threadCount(options.threads)),
        report_(options.progress, source.name(), "recover") {}

  /// Finds what is sound, and what is lost.
  void look() {
    const Place place = options_.row0 ? placeTold(source_, *options_.row0) : findBlocks(source_, report_);
    const Layout layout = readLayout(source_, place, report_);
    chain_ = followBeyondGaps(source_, layout, threads_, report_);
    BlockChain first = upToFirstGap(chain_);
    if (!options_.row0) {
      refuseAnotherPlace(source_, layout, first, report_);
    }
    if (options_.holes == Holes::stop) {
      told_.moreBlocks = chain_.records.size() - first.records.size();
      told_.moreBytes = bytesOf(chain_) - bytesOf(first);
      chain_ = std::move(first);
    }
    const Remainder rest = remainderBehind(source_, chain_);
    listLosses(chain_, lossBehind(source_, layout, chain_, rest), told_);
    told_.row0 = place.row0;
    told_.swapped = place.swapped || (rest.isTable && rest.swapped);
    told_.blocks = chain_.records.size();
    told_.caseBytes = bytesOf(chain_);
  }

  void write(BlockTarget& output) {
    if (options_.partial) {
      PlainRebuild plain(source_, chain_, output, report_);
      plain.run(threads_);
      told_.partialBytes = told_.complete() ? 0 : plain.addDamagedBlock();
      return;
    }
    Rebuild rebuild(source_, chain_, told_.swapped, options_.holes == Holes::zero, output, report_);
    rebuild.run();
    told_.zeroBytes = rebuild.zeroBytes();
  }

  Recovery told() { return std::move(told_); }

 private:
  SourceReader& source_;
  const RecoverOptions& options_;
  const std::size_t threads_;
  ProgressReport report_;
  BlockChain chain_;
  Recovery told_;
};

Recovery rescue(SourceReader& source, const std::string& output, const RecoverOptions& options,
                const std::optional<files::FileStatus>& rightsOf) {
  requirePossible(source.name(), options);
  Rescue rescue(source, options);
  rescue.look();
  AtomicFile file(output, AtomicFile::Rules{options.replace, options.sync});
  if (rightsOf) {
    file.limitRightsTo(*rightsOf);
  }
  file.make([&] { rescue.write(file); });
  return rescue.told();
}

}  // namespace

Recovery recover(std::shared_ptr<const RandomAccessFile> input, const std::string& output,
                 const RecoverOptions& options) {
  SourceReader source(std::move(input));
  return rescue(source, output, options, {});
}

Recovery recover(const std::string& input, const std::string& output, const RecoverOptions& options) {
  const auto file = openRegularFile(input);
  UnfinishedAppend append = unfinishedAppendOf(input);
  const files::FileStatus status = file->status();
  requireNoInput(output, isSameFile(status.identity, output));
  std::shared_ptr<const RandomAccessFile> bytes = file;
  if (append.isOpen()) {
    bytes = openBeforeAppend(file);
  }
  SourceReader source(std::move(bytes));
  Recovery told = rescue(source, output, options, status);
  told.unfinishedAppend = std::move(append);
  return told;
}

}  // namespace casefile
