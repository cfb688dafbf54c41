#include "blockProbe.h"

#include <cstdint>

#include "blockCodec.h"
#include "casefile/error.h"
#include "compressedForm.h"

namespace casefile {
namespace {

constexpr auto kBlock = static_cast<int64>(kBlockSize);

}  // namespace

int64 BlockProbe::allowanceFor(int64 fileSize) noexcept {
  constexpr int64 kBlocks = 1000;
  constexpr int64 kTimes = 4;
  return kBlocks * kBlock + std::min(fileSize, INT64_MAX / (2 * kTimes)) * kTimes;
}

BlockProbe::BlockProbe(SourceReader& source, ProgressReport& report)
    : BlockProbe(source, report, allowanceFor(source.size())) {}

BlockProbe::BlockProbe(SourceReader& source, ProgressReport& report, int64 allowance)
    : source_(source), report_(report), allowance_(allowance) {}

int64 BlockProbe::inflateAt(int64 position) {
  std::array<unsigned char, 2> bytes{};
  if (source_.read(bytes.data(), bytes.size(), position) != bytes.size() ||
      !datasource::form::beginsZlibStream(bytes.data())) {
    return 0;
  }
  if (allowance_ <= 0) {
    throw Error(ErrorKind::notADataFile,
                "too much looks like blocks and is none (a row-0 position says where the dictionary part ends)",
                {source_.name(), "find", {}, position, {}});
  }
  report_.advance(0);  // inflating takes a while: the program may stop it
  const auto facts = inspector_.inspect(source_, position, kBlock);
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

bool BlockProbe::hasBlockBehind(int64 row0) { return plainSizeAt(row0 + static_cast<int64>(kHeadingSize)) > 0; }

}  // namespace casefile
