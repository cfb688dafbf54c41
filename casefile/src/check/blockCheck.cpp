#include "blockCheck.h"

#include <algorithm>
#include <cstddef>

#include "blockReader.h"

namespace casefile {
namespace {

using datasource::form::BlockState;
using datasource::form::StreamFacts;
using datasource::form::Verdict;

constexpr auto kBlock = static_cast<int64>(kBlockSize);

}  // namespace

std::optional<StreamFault> faultOf(const StreamFacts& facts) {
  if (facts.sound()) {
    return std::nullopt;
  }
  switch (facts.verdict) {
    case Verdict::outputFull:
      return StreamFault{FaultKind::streamTooLong, "the zlib stream holds more than a block"};
    case Verdict::needsInput:
      return StreamFault{FaultKind::streamCut, "the zlib stream does not end where it must"};
    default:
      return StreamFault{FaultKind::streamDamaged,
                         "the zlib stream is damaged" + (facts.damage.empty() ? "" : ": " + facts.damage)};
  }
}

bool BlockCheck::isAsRecorded(const bInfo& record) {
  if (!compressed_) {
    // The first block's sizes may be wrong, and others larger: they only say what pays.
    compressed_ = pipeline::makePageBuffer(kBlockSize, static_cast<std::size_t>(std::max(0, record.translateSize)));
    plain_ = pipeline::makePageBuffer(kBlockSize, static_cast<std::size_t>(std::max(0, record.orginalSize)));
  }
  const datasource::form::BlockBuffers buffers{reinterpret_cast<unsigned char*>(compressed_.get()),
                                               reinterpret_cast<unsigned char*>(plain_.get()), kBlockSize, kBlockSize};
  const auto result = datasource::form::readBlock(source_, record, buffers);
  return result.state == BlockState::sound && result.consumed == static_cast<std::size_t>(record.translateSize);
}

std::optional<StreamFault> BlockCheck::faultOf(const bInfo& record) {
  if (isAsRecorded(record)) {
    return std::nullopt;
  }
  const StreamFacts facts = inspector_.inspect(source_, record.translatePos, record.translateSize);
  const bool sound = stateOf(facts, record) == BlockState::sound;
  if (!sound && facts.verdict != Verdict::complete) {
    return casefile::faultOf(facts);
  }
  if (facts.compressedSize != record.translateSize) {
    return StreamFault{FaultKind::streamSize, "its zlib stream has " + std::to_string(facts.compressedSize) +
                                                  " bytes, its record says " + std::to_string(record.translateSize)};
  }
  if (sound) {
    return std::nullopt;
  }
  return StreamFault{FaultKind::plainSize, "it holds " + std::to_string(facts.plainSize) + " bytes, its record says " +
                                               std::to_string(record.orginalSize)};
}

StreamFacts BlockCheck::inspect(int64 position) { return inspector_.inspect(source_, position, kBlock); }

}  // namespace casefile
