#include "blockChain.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "blockCheck.h"

namespace casefile {
namespace {

using datasource::form::StreamFacts;

constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr auto kBlock = static_cast<int64>(kBlockSize);

// A sound block that something names behind a gap.
struct Named {
  std::size_t lost = 0;  // blocks in front of it
  int64 lostBytes = 0;   // their bytes
  int64 filePosition = 0;
};

// Walks from block to block, by a table where it is right.
class Walk {
 public:
  Walk(SourceReader& source, const Layout& layout, const std::vector<bool>& damaged, ProgressReport& report)
      : source_(source), layout_(layout), damaged_(damaged), report_(report), check_(source) {
    chain_.row0 = layout.place.row0;
    chain_.logicalEnd = chain_.row0;
    chain_.fileEnd = chain_.row0 + kHead;
  }

  BlockChain run(bool beyondGaps) {
    while (chain_.fileEnd < source_.size()) {
      if (takeRecorded()) {
        continue;
      }
      const StreamFacts facts = check_.inspect(chain_.fileEnd);
      const auto fault = faultOf(facts);
      if (!fault && facts.plainSize > 0) {
        take(static_cast<std::int32_t>(facts.plainSize), static_cast<std::int32_t>(facts.compressedSize));
        continue;
      }
      chain_.fault = fault ? fault->what : "an empty zlib stream";
      const auto next = beyondGaps ? nextNamed(facts) : std::nullopt;
      if (!next) {
        break;
      }
      leaveGap(*next);
    }
    return std::move(chain_);
  }

 private:
  bool isSound(std::size_t record) const {
    return !damaged_[record] &&
           layout_.records[record].translatePos + layout_.records[record].translateSize <= layout_.fileSize;
  }

  // Takes the block where the chain stands, when the table has it.
  bool takeRecorded() {
    const std::size_t number = chain_.blocks;
    if (number >= layout_.records.size() || !isSound(number) ||
        layout_.records[number].translatePos != chain_.fileEnd) {
      return false;
    }
    take(layout_.records[number].orginalSize, layout_.records[number].translateSize);
    return true;
  }

  void take(std::int32_t plainSize, std::int32_t compressedSize) {
    report_.advance(compressedSize);
    chain_.records.push_back({chain_.logicalEnd, chain_.fileEnd, plainSize, compressedSize});
    ++chain_.blocks;
    chain_.logicalEnd += plainSize;
    chain_.fileEnd += compressedSize;
  }

  std::optional<Named> nextNamed(const StreamFacts& facts) {
    const auto named = namedByTable();
    return named ? named : namedByChain(facts);
  }

  std::optional<Named> namedByTable() const {
    const std::size_t lost = chain_.blocks;
    for (std::size_t i = lost + 1; i < layout_.records.size(); ++i) {
      const int64 bytes = layout_.logicalStarts[i] - layout_.logicalStarts[lost];
      const bool fits = bytes <= static_cast<int64>(i - lost) * kBlock;
      if (isSound(i) && layout_.records[i].translatePos > chain_.fileEnd && fits) {
        return Named{i - lost, bytes, layout_.records[i].translatePos};
      }
    }
    return std::nullopt;
  }

  // A stream that goes wrong at its end only says where the next one begins; a block that is not the last is whole.
  std::optional<Named> namedByChain(const StreamFacts& facts) {
    const bool endedWrong = facts.verdict == datasource::form::Verdict::damaged && facts.plainSize > 0;
    const int64 next = chain_.fileEnd + facts.compressedSize;
    if (!endedWrong || next >= source_.size()) {
      return std::nullopt;
    }
    const StreamFacts behind = check_.inspect(next);
    return behind.sound() && behind.plainSize > 0 ? std::optional(Named{1, kBlock, next}) : std::nullopt;
  }

  void leaveGap(const Named& next) {
    chain_.gaps.push_back({next.lost, LogicalRange{chain_.logicalEnd, next.lostBytes}, chain_.fileEnd,
                           chain_.records.size(), std::exchange(chain_.fault, {})});
    report_.advance(next.filePosition - chain_.fileEnd);
    chain_.blocks += next.lost;
    chain_.logicalEnd += next.lostBytes;
    chain_.fileEnd = next.filePosition;
  }

  SourceReader& source_;
  const Layout& layout_;
  const std::vector<bool>& damaged_;
  ProgressReport& report_;
  BlockCheck check_;
  BlockChain chain_;
};

Layout withoutTable(int64 row0) {
  Layout layout;
  layout.place.row0 = row0;
  return layout;
}

}  // namespace

BlockChain followBlocks(SourceReader& source, int64 row0, ProgressReport& report) {
  const Layout layout = withoutTable(row0);
  return Walk(source, layout, {}, report).run(false);
}

BlockChain followBeyondGaps(SourceReader& source, const Layout& layout, std::size_t threads, ProgressReport& report) {
  const SweptBlocks swept = BlockSweep(source, layout, report).run(threads);
  report.begin(Phase::reading, source.size());
  BlockChain chain = Walk(source, layout, swept.damaged, report).run(true);
  const int64 ofBlocks = chain.fileEnd - layout.place.row0 - kHead;
  report.advance(source.size() - ofBlocks);  // the rest of the file takes no time
  return chain;
}

BlockChain upToFirstGap(const BlockChain& chain) {
  if (chain.gaps.empty()) {
    return chain;
  }
  const BlockGap& gap = chain.gaps.front();
  BlockChain first;
  first.row0 = chain.row0;
  first.records.assign(chain.records.begin(), chain.records.begin() + static_cast<std::ptrdiff_t>(gap.nextKept));
  first.blocks = first.records.size();
  first.logicalEnd = gap.range.start;
  first.fileEnd = gap.filePosition;
  first.fault = gap.why;
  return first;
}

Remainder remainderBehind(SourceReader& source, const BlockChain& chain) {
  Remainder rest;
  rest.bytes = std::max<int64>(0, source.size() - chain.fileEnd);
  std::array<unsigned char, kRecordSize> found{};
  const std::size_t got = source.read(found.data(), found.size(), chain.fileEnd);
  constexpr std::size_t kMarkSize = offsetof(bInfo, orginalSize);
  for (const bool swapped : {false, true}) {
    std::array<unsigned char, kRecordSize> header{};
    encode(tableHeader(kBlockSize, 0), header.data(), swapped);
    if (got > 0 && std::memcmp(found.data(), header.data(), std::min(got, kMarkSize)) == 0) {
      rest.isTable = true;
      rest.swapped = swapped;
      break;
    }
  }
  return rest;
}

}  // namespace casefile
