#include "blockProbe.h"

#include <cstdint>

#include "blockCodec.h"
#include "compressedForm.h"
#include "failure.h"

namespace casefile::program {
namespace {

constexpr auto kBlock = static_cast<int64>(kBlockSize);

// Uncompressed bytes that all probes of a file may make: a block for each of a thousand positions, or a few
// times the file.
int64 allowanceFor(int64 fileSize) {
  constexpr int64 kBlocks = 1000;
  constexpr int64 kTimes = 4;
  return kBlocks * kBlock + (fileSize < INT64_MAX / (2 * kTimes) ? kTimes * fileSize : INT64_MAX / 2);
}

}  // namespace

BlockProbe::BlockProbe(NamedReader& source) : source_(source), allowance_(allowanceFor(source.size())) {}

int64 BlockProbe::inflateAt(int64 position) {
  std::array<unsigned char, 2> bytes{};
  if (source_.read(bytes.data(), bytes.size(), position) != bytes.size() ||
      !datasource::form::beginsZlibStream(bytes.data())) {
    return 0;
  }
  if (allowance_ <= 0) {
    throw Failure(source_.name(), "too much looks like blocks and is none (--row0 says where the dictionary part ends)",
                  kRefused);
  }
  const StreamFacts facts = checker_.check(source_, position, kBlock);
  allowance_ -= facts.plainSize;
  return facts.sound() ? facts.plainSize : 0;
}

int64 BlockProbe::plainSizeAt(int64 position) {
  Answer& answer = answers_[static_cast<std::size_t>(position) % kAnswers];
  if (answer.position != position) {
    answer = {position, inflateAt(position)};
  }
  return answer.plainSize;
}

bool BlockProbe::hasBlock(int64 row0) { return plainSizeAt(row0 + static_cast<int64>(kHeadingSize)) > 0; }

}  // namespace casefile::program
