// The codecs for blocks against zlib.

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>

#include "Datasource/sortTemp/lz4Compress.h"
#include "Datasource/sortTemp/zlibCompress.h"
#include "blockCodec.h"
#include "encoder/blockEncoder.h"
#include "fuzz/input.h"
#include "fuzz/target.h"
#include "inflate/strictInflate.h"

namespace proof {
namespace {

namespace form = datasource::form;

constexpr unsigned char kGuard = 0xA5;
constexpr std::size_t kGuards = 16;
constexpr std::size_t kMostCapacity = 20000;

// A buffer of an exact size with bytes behind it that nobody may touch.
class Guarded {
 public:
  explicit Guarded(std::size_t size) : size_(size), bytes_(size + kGuards, kGuard) {}
  unsigned char* data() noexcept { return bytes_.data(); }
  std::size_t size() const noexcept { return size_; }
  bool untouched() const {
    return std::all_of(bytes_.begin() + static_cast<std::ptrdiff_t>(size_), bytes_.end(),
                       [](unsigned char byte) { return byte == kGuard; });
  }
  Bytes first(std::size_t count) const { return {bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(count)}; }

 private:
  std::size_t size_;
  Bytes bytes_;
};

// What zlib makes of a stream.
struct Inflated {
  bool complete = false;
  std::size_t consumed = 0;
  Bytes bytes;
};

Inflated inflateByZlib(const Bytes& stream, std::size_t capacity) {
  Inflated result;
  result.bytes.resize(std::max<std::size_t>(capacity, 1));
  z_stream state{};
  inflateInit(&state);
  state.next_in = const_cast<unsigned char*>(stream.data());
  state.avail_in = static_cast<uInt>(stream.size());
  state.next_out = result.bytes.data();
  state.avail_out = static_cast<uInt>(capacity);
  result.complete = inflate(&state, Z_FINISH) == Z_STREAM_END;
  result.consumed = state.total_in;
  result.bytes.resize(state.total_out);
  inflateEnd(&state);
  return result;
}

// Returns: whether the stream's last four bytes are the check value of the data.
bool checkFits(const Bytes& stream, std::size_t consumed, const Bytes& data) {
  if (consumed < 6 || consumed > stream.size()) {
    return false;
  }
  unsigned long told = 0;
  for (std::size_t i = consumed - 4; i < consumed; ++i) {
    told = told << 8U | stream[i];
  }
  return told == adler32(adler32(0, nullptr, 0), data.data(), static_cast<uInt>(data.size()));
}

// A stream from the input: its bytes as they are, or a sound one that was damaged.
Bytes someStream(Input& input) {
  if (input.below(2) == 0) {
    return input.rest();
  }
  const Bytes plain = input.bytes(input.below(kMostCapacity));
  Bytes stream(compressBound(static_cast<uLong>(plain.size())));
  uLongf size = stream.size();
  compress2(stream.data(), &size, plain.data(), static_cast<uLong>(plain.size()), static_cast<int>(input.below(10)));
  stream.resize(size);
  while (!input.exhausted() && !stream.empty()) {
    stream[input.below(stream.size())] = input.byte();
  }
  return stream;
}

// Returns: what is wrong with the strict inflater, which takes what zlib takes, but for smaller windows.
std::string judgeStrict(form::inflating::FastLoopCall loop, const Bytes& stream, std::size_t capacity,
                        const Inflated& expected) {
  Guarded dest(capacity);
  const auto result = form::inflating::strictInflateBy(loop, stream.data(), stream.size(), dest.data(), capacity);
  if (!dest.untouched()) {
    return "the strict inflater writes behind the capacity";
  }
  if (!result) {
    return expected.complete && stream[0] == 0x78 ? "the strict inflater refuses a sound stream" : "";
  }
  return expected.complete && result->consumed == expected.consumed && dest.first(result->produced) == expected.bytes
             ? ""
             : "the strict inflater takes a stream otherwise than zlib";
}

std::string judgeStrictLoops(const Bytes& stream, std::size_t capacity, const Inflated& expected) {
  namespace inflating = form::inflating;
  std::string wrong = judgeStrict(inflating::fastestLoop(), stream, capacity, expected);
  return wrong.empty() && inflating::kMachineFits ? judgeStrict(inflating::portableLoop, stream, capacity, expected)
                                                  : wrong;
}

std::string decompresses(Input& input) {
  const std::size_t capacity = 1 + input.below(kMostCapacity);
  const Bytes stream = someStream(input);
  Guarded dest(capacity);
  const form::CodecResult result = form::decompressBlock(stream.data(), stream.size(), dest.data(), capacity);
  if (!dest.untouched() || result.produced > capacity || result.consumed > stream.size()) {
    return "writes behind the capacity, or says so";
  }
  const bool complete = result.verdict == form::Verdict::complete;
  const Inflated expected = inflateByZlib(stream, capacity);
  if (std::string wrong = judgeStrictLoops(stream, capacity, expected); !wrong.empty()) {
    return wrong;
  }
  if (expected.complete) {
    return complete && result.consumed == expected.consumed && dest.first(result.produced) == expected.bytes
               ? ""
               : "is not what zlib makes of a sound stream";
  }
  if (complete) {  // a rule broken that does no harm: the check value is right all the same
    return checkFits(stream, result.consumed, dest.first(result.produced)) ? "" : "calls a damaged stream complete";
  }
  return dest.first(result.produced) == expected.bytes ? "" : "is not what zlib makes of a damaged stream";
}

std::string inflatesToNew(Input& input) {
  std::size_t size = input.below(kMostCapacity);
  Bytes stream = someStream(input);
  if (stream.empty()) {
    stream.push_back(0);
  }
  unsigned char* made = nullptr;
  if (zlibCompressBlock::inflateToNew(stream.data(), stream.size(), made, size) != 0) {
    return "inflateToNew fails";
  }
  const std::unique_ptr<unsigned char, decltype(&std::free)> owner(made, &std::free);
  const Inflated expected = inflateByZlib(stream, size + 1);
  const bool same = std::equal(expected.bytes.begin(), expected.bytes.end(), made, made + size);
  return same || (!expected.complete && checkFits(stream, stream.size(), {made, made + size}))
             ? ""
             : "inflateToNew is not what zlib makes of it";
}

// Returns: what is wrong with a block as it was compressed.
std::string judgeCompressed(const Bytes& plain, Guarded& dest, std::size_t produced, bool complete,
                            const std::string& who) {
  if (!dest.untouched() || produced > dest.size()) {
    return who + " writes behind the capacity, or says so";
  }
  const Inflated back = inflateByZlib(dest.first(produced), plain.size() + 1);
  if (complete) {
    return back.complete && back.bytes == plain && back.consumed == produced ? "" : who + " makes another block";
  }
  return back.bytes.size() <= plain.size() && std::equal(back.bytes.begin(), back.bytes.end(), plain.begin())
             ? ""
             : who + " cuts a block in a way that changes it";
}

Bytes somePlain(Input& input) {
  return input.below(2) == 0 ? input.bytes(1 + input.below(kMostCapacity)) : input.rest();
}

std::string compresses(Input& input) {
  const std::size_t capacity = 1 + input.below(kMostCapacity);
  const std::size_t which = input.below(form::builtInEncoders().size() + 1);
  Bytes plain = somePlain(input);
  if (plain.empty()) {
    plain.push_back(0);
  }
  Guarded dest(capacity);
  if (which == form::builtInEncoders().size()) {
    zlibCompressBlock codec;
    std::size_t size = capacity;
    codec.compressBlock(plain.data(), plain.size(), dest.data(), size);
    return judgeCompressed(plain, dest, size, codec.complete(), "zlibCompressBlock");
  }
  const auto encoder = form::makeEncoder(form::builtInEncoders()[which]);
  const form::CodecResult result = form::encodeBlock(*encoder, plain.data(), plain.size(), dest.data(), capacity);
  if (result.verdict == form::Verdict::outputFull && capacity < compressBound(static_cast<uLong>(plain.size()))) {
    return dest.untouched() ? "" : std::string(encoder->name()) + " writes behind the capacity";
  }
  return judgeCompressed(plain, dest, result.produced, true, std::string(encoder->name()));
}

std::string lz4RoundTrip(Input& input) {
  const std::size_t capacity = 1 + input.below(kMostCapacity);
  const int mode = static_cast<int>(input.below(2));
  Bytes plain = somePlain(input);
  if (plain.empty()) {
    plain.push_back(0);
  }
  Guarded packed(capacity);
  auto* const source = reinterpret_cast<char*>(plain.data());
  auto* const dest = reinterpret_cast<char*>(packed.data());
  const std::size_t size = lz4CompressBlock::compressBlock(source, plain.size(), dest, capacity, mode);
  if (!packed.untouched() || size > capacity) {
    return "lz4CompressBlock writes behind the capacity";
  }
  Guarded back(plain.size());
  auto* const again = reinterpret_cast<char*>(back.data());
  if (size > 0 && (lz4CompressBlock::decompressBlock(dest, size, again, plain.size()) != plain.size() ||
                   back.first(plain.size()) != plain)) {
    return "an LZ4 block comes back as something else";
  }
  Guarded any(capacity);  // and the input itself as a block
  const std::size_t got =
      lz4CompressBlock::decompressBlock(source, plain.size(), reinterpret_cast<char*>(any.data()), capacity);
  return any.untouched() && (got <= capacity || static_cast<std::ptrdiff_t>(got) < 0)
             ? ""
             : "lz4CompressBlock writes behind the capacity of a damaged block";
}

std::string yieldsAllOfACutStream(Input& input) {
  const Bytes plain = input.bytes(1 + input.below(kMostCapacity));
  Bytes stream(compressBound(static_cast<uLong>(plain.size())));
  uLongf size = stream.size();
  compress2(stream.data(), &size, plain.data(), static_cast<uLong>(plain.size()), 1);
  const std::size_t cut = std::min<std::size_t>(input.below(size), size - 1);
  stream.resize(size - cut);
  const Inflated left = inflateByZlib(stream, plain.size() + 1);
  return form::yieldsAll(stream.data(), stream.size(), plain.size()) == (left.bytes == plain)
             ? ""
             : "yieldsAll is wrong about a stream without its last " + std::to_string(cut) + " bytes";
}

}  // namespace

std::string tryInput(Input& input) {
  constexpr std::array kTries{decompresses, inflatesToNew, compresses, lz4RoundTrip, yieldsAllOfACutStream};
  return kTries[input.below(kTries.size())](input);
}

}  // namespace proof
