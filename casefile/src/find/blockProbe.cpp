#include "blockProbe.h"

#include <algorithm>
#include <cstdint>

#include "blockCodec.h"
#include "casefile/error.h"
#include "compressedForm.h"

namespace casefile {
namespace {

constexpr auto kBlock = static_cast<int64>(kBlockSize);

// The bytes of a file but for its holes, in pieces so long that it costs little to count them.
int64 bytesOfData(const SourceReader& source) {
  constexpr int64 kPiece = 64 * 1024;
  int64 bytes = 0;
  for (int64 at = source.nextData(0); at < source.size();) {
    const int64 count = std::min(kPiece, source.size() - at);
    bytes += count;
    at = source.nextData(at + count);
  }
  return bytes;
}

}  // namespace

int64 BlockProbe::allowanceForData(int64 bytes) noexcept {
  constexpr int64 kTimes = 4;
  return std::min(bytes, INT64_MAX / (2 * kTimes)) * kTimes;
}

BlockProbe::BlockProbe(SourceReader& source, ProgressReport& report) : BlockProbe(source, report, kFirstAllowance) {}

BlockProbe::BlockProbe(SourceReader& source, ProgressReport& report, int64 first)
    : source_(source), report_(report), allowance_(first) {}

int64 BlockProbe::inflateAt(int64 position) {
  std::array<unsigned char, 2> bytes{};
  if (source_.read(bytes.data(), bytes.size(), position) != bytes.size() ||
      !datasource::form::beginsZlibStream(bytes.data())) {
    return 0;
  }
  if (allowance_ <= 0 && !dataAreCounted_) {  // which hardly a file comes to
    allowance_ += allowanceForData(bytesOfData(source_));
    dataAreCounted_ = true;
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
