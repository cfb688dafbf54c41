#include "streamInspector.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>

namespace datasource::form {
namespace {

constexpr std::size_t kPiece = 64 * 1024;
constexpr auto kBlock = static_cast<int64>(kBlockSize);
constexpr uInt kCheckValueSize = 4;

/// Returns: whether the stream ends with the last `missing` bytes of the check value of what came out of it.
bool endsWith(z_stream& stream, uInt missing) {
  std::array<unsigned char, kCheckValueSize> value{};
  for (uInt i = 0; i < kCheckValueSize; ++i) {
    value[i] = static_cast<unsigned char>(stream.adler >> (8 * (kCheckValueSize - 1 - i)));  // high byte first
  }
  z_stream copy{};
  if (inflateCopy(&copy, &stream) != Z_OK) {
    return false;
  }
  unsigned char more = 0;
  copy.next_in = value.data() + (kCheckValueSize - missing);
  copy.avail_in = missing;
  copy.next_out = &more;
  copy.avail_out = 1;
  const bool ends = inflate(&copy, Z_NO_FLUSH) == Z_STREAM_END;
  inflateEnd(&copy);
  return ends;
}

bool lacksCheckValueOnly(z_stream& stream) {
  for (uInt missing = 1; missing <= kCheckValueSize; ++missing) {
    if (endsWith(stream, missing)) {
      return true;
    }
  }
  return false;
}

Verdict verdictOf(int answer) {
  switch (answer) {
    case Z_STREAM_END:
      return Verdict::complete;
    case Z_OK:
    case Z_BUF_ERROR:
      return Verdict::needsInput;
    case Z_MEM_ERROR:
      throw std::bad_alloc();
    default:
      return Verdict::damaged;
  }
}

}  // namespace

struct StreamInspector::Inflater {
  z_stream stream{};
  Inflater() {
    if (inflateInit(&stream) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  ~Inflater() { inflateEnd(&stream); }
};

StreamInspector::StreamInspector() : inflater_(std::make_unique<Inflater>()), compressed_(kPiece), plain_(kPiece) {}
StreamInspector::~StreamInspector() = default;

StreamFacts StreamInspector::inspect(RandomAccessReader& file, int64 position, int64 room) {
  z_stream& stream = inflater_->stream;
  inflateReset(&stream);
  stream.avail_in = 0;
  StreamFacts facts;
  int64 taken = 0;
  int answer = Z_OK;
  while (answer == Z_OK && facts.plainSize <= kBlock) {
    if (stream.avail_in == 0) {
      const auto wanted = static_cast<std::size_t>(std::min<int64>(room - taken, static_cast<int64>(kPiece)));
      const std::size_t got = wanted == 0 ? 0 : file.read(compressed_.data(), wanted, position + taken);
      stream.next_in = compressed_.data();
      stream.avail_in = static_cast<uInt>(got);
      taken += static_cast<int64>(got);
    }
    stream.next_out = plain_.data();
    stream.avail_out = static_cast<uInt>(kPiece);
    answer = inflate(&stream, Z_NO_FLUSH);
    facts.plainSize += static_cast<int64>(kPiece - stream.avail_out);
  }
  facts.compressedSize = taken - stream.avail_in;
  facts.verdict = facts.plainSize > kBlock ? Verdict::outputFull : verdictOf(answer);
  if (facts.verdict == Verdict::damaged && stream.msg != nullptr) {
    facts.damage = stream.msg;
  }
  facts.lacksCheckValueOnly = facts.verdict == Verdict::needsInput && taken == kBlock && lacksCheckValueOnly(stream);
  return facts;
}

BlockState stateOf(const StreamFacts& facts, const bInfo& record) noexcept {
  if (facts.plainSize == 0) {
    return BlockState::nothing;
  }
  if (facts.plainSize != record.orginalSize) {
    return BlockState::wrongLength;
  }
  const bool cutBehindItsData = facts.verdict == Verdict::needsInput && facts.compressedSize == kBlock;
  return facts.verdict == Verdict::complete || cutBehindItsData ? BlockState::sound : BlockState::incomplete;
}

}  // namespace datasource::form
