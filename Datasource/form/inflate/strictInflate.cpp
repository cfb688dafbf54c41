#include "strictInflate.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "carefulLoop.h"

namespace datasource::form {
namespace {

using inflating::LoopEnd;

constexpr std::size_t kHeadSize = 2;
constexpr std::size_t kCheckSize = 4;
// So much is inflated before its check value goes on: little enough to be in the processor's cache still.
constexpr std::ptrdiff_t kSummedAtOnce = 64 * 1024;

/// Returns: whether the stream has a window of 32 KiB and no preset dictionary.
bool hasUsualHead(const unsigned char* bytes) noexcept {
  constexpr unsigned kDeflateAndLargestWindow = 0x78;
  constexpr unsigned kPresetDictionary = 0x20;
  return bytes[0] == kDeflateAndLargestWindow && (bytes[1] & kPresetDictionary) == 0 &&
         (bytes[0] * 256U + bytes[1]) % 31 == 0;
}

std::uint32_t bigEndian32(const unsigned char* bytes) noexcept {
  return std::uint32_t{bytes[0]} << 24U | std::uint32_t{bytes[1]} << 16U | std::uint32_t{bytes[2]} << 8U | bytes[3];
}

/// One zlib stream on its way, and all that takes.
class Inflation {
 public:
  Inflation(inflating::FastLoopCall loop, const unsigned char* source, std::size_t inCount, unsigned char* dest,
            std::size_t capacity) noexcept
      : loop_(loop), output_{dest, dest, dest + capacity}, summed_(dest) {
    reader_.next = source + kHeadSize;
    reader_.end = source + inCount;
  }

  /// Returns: whether all blocks and the check value are right.
  bool run() noexcept {
    bool last = false;
    while (!last) {
      reader_.refill();
      last = reader_.take(1) != 0;
      if (!block(reader_.take(2))) {
        return false;
      }
    }
    return checkValueIsRight();
  }

  std::size_t produced() const noexcept { return static_cast<std::size_t>(output_.next - output_.begin); }
  const unsigned char* streamEnd() const noexcept { return reader_.next; }

 private:
  bool block(unsigned kind) noexcept {
    switch (kind) {
      case 0:
        return storedBlock();
      case 1:
        makeFixedCodes(tables_.codes);
        return codedBlock();
      case 2:
        return readCodes(reader_, tables_.codes) && codedBlock();
      default:
        return false;
    }
  }

  bool storedBlock() noexcept {
    if (reader_.overrun()) {
      return false;
    }
    reader_.toByte();
    if (reader_.end - reader_.next < 4) {
      return false;
    }
    const unsigned char* const head = reader_.next;
    const unsigned length = head[0] | static_cast<unsigned>(head[1]) << 8U;
    const unsigned inverted = head[2] | static_cast<unsigned>(head[3]) << 8U;
    reader_.next += 4;
    if ((length ^ inverted) != 0xFFFFU || reader_.end - reader_.next < static_cast<std::ptrdiff_t>(length) ||
        output_.end - output_.next < static_cast<std::ptrdiff_t>(length)) {
      return false;
    }
    std::memcpy(output_.next, reader_.next, length);
    reader_.next += length;
    output_.next += length;
    return true;
  }

  bool codedBlock() noexcept {
    LoopEnd end = carefulLoop(tables_.codes, reader_, output_, inflating::kNoMatch);
    if (end == LoopEnd::stopped && mayRunFast()) {
      tables_.steps.build(tables_.codes);
      end = fastPart();
    }
    if (end == LoopEnd::stopped) {
      end = carefulLoop(tables_.codes, reader_, output_, std::numeric_limits<std::size_t>::max());
    }
    sum();
    return end == LoopEnd::endOfBlock;
  }

  bool mayRunFast() const noexcept {
    return loop_ != nullptr && reader_.end - reader_.next > inflating::kInputAhead &&
           output_.end - output_.next > inflating::kOutputAhead;
  }

  LoopEnd fastPart() noexcept {
    LoopEnd end = LoopEnd::stopped;
    while (end == LoopEnd::stopped && mayRunFast()) {
      sum();
      const std::ptrdiff_t room = output_.end - output_.next - inflating::kOutputAhead;
      end = loop_(tables_, reader_, output_, output_.next + std::min(room, kSummedAtOnce));
    }
    return end;
  }

  /// Takes into the check value what was written since the last time.
  void sum() noexcept {
    sum_ = libdeflate_adler32(sum_, summed_, static_cast<std::size_t>(output_.next - summed_));
    summed_ = output_.next;
  }

  bool checkValueIsRight() noexcept {
    reader_.toByte();
    if (static_cast<std::size_t>(reader_.end - reader_.next) < kCheckSize) {
      return false;
    }
    sum();
    const bool right = bigEndian32(reader_.next) == sum_;
    reader_.next += kCheckSize;
    return right;
  }

  const inflating::FastLoopCall loop_;
  inflating::BitReader reader_;
  inflating::Output output_;
  const unsigned char* summed_;
  std::uint32_t sum_ = 1;
  inflating::BlockTables tables_;
};

}  // namespace

std::optional<InflatedStream> inflating::strictInflateBy(FastLoopCall loop, const unsigned char* source,
                                                         std::size_t inCount, unsigned char* dest,
                                                         std::size_t capacity) noexcept {
  if (inCount < kHeadSize + kCheckSize || !hasUsualHead(source)) {
    return std::nullopt;
  }
  const std::unique_ptr<Inflation> inflation(new (std::nothrow) Inflation(loop, source, inCount, dest, capacity));
  if (inflation == nullptr || !inflation->run()) {
    return std::nullopt;
  }
  return InflatedStream{static_cast<std::size_t>(inflation->streamEnd() - source), inflation->produced()};
}

std::optional<InflatedStream> strictInflate(const unsigned char* source, std::size_t inCount, unsigned char* dest,
                                            std::size_t capacity) noexcept {
  const inflating::FastLoopCall loop = inflating::fastestLoop();
  return loop == nullptr ? std::nullopt : inflating::strictInflateBy(loop, source, inCount, dest, capacity);
}

}  // namespace datasource::form
