#include "blockCodec.h"

#include <zlib.h>

#include <array>

#include "arithmetic.h"
#include "fastInflate.h"

namespace datasource::form {
namespace {

// The interface version that the callers were written for; any zlib 1 accepts it.
constexpr const char* kZlibVersion = "1.2.3";
constexpr int kFastest = 1;
static_assert(sizeof(long) != 4 || sizeof(void*) != 8 || sizeof(z_stream) == 88);

// How deflate and inflate, which have the same shape, are started, run once and ended.
struct Codec {
  int (*start)(z_stream&);
  int (*run)(z_streamp, int);
  int (*end)(z_streamp);
};

int startDeflate(z_stream& stream) {
  return deflateInit_(&stream, kFastest, kZlibVersion, static_cast<int>(sizeof(z_stream)));
}
int startInflate(z_stream& stream) { return inflateInit_(&stream, kZlibVersion, static_cast<int>(sizeof(z_stream))); }

constexpr Codec kDeflate{startDeflate, deflate, deflateEnd};
constexpr Codec kInflate{startInflate, inflate, inflateEnd};

z_stream streamOver(const unsigned char* source, std::size_t count, unsigned char* dest, std::size_t capacity) {
  z_stream stream{};
  stream.next_in = const_cast<unsigned char*>(source);  // zlib writes nothing there
  stream.avail_in = low32Unsigned(count);
  stream.next_out = dest;
  stream.avail_out = low32Unsigned(capacity);
  return stream;
}

/// Returns: whether more would come out of a stream whose input and output are both used up.
bool hasMore(z_stream& stream, const Codec& codec) {
  unsigned char next = 0;
  stream.next_out = &next;
  stream.avail_out = 1;
  codec.run(&stream, Z_FINISH);
  return stream.avail_out == 0;
}

Verdict verdictOf(int answer, z_stream& stream, const Codec& codec) {
  switch (answer) {
    case Z_STREAM_END:
      return Verdict::complete;
    case Z_STREAM_ERROR:
      return Verdict::misused;
    case Z_MEM_ERROR:
      return Verdict::noMemory;
    case Z_OK:
    case Z_BUF_ERROR:
      if (stream.avail_out != 0) {
        return Verdict::needsInput;
      }
      return stream.avail_in != 0 || hasMore(stream, codec) ? Verdict::outputFull : Verdict::needsInput;
    default:
      return Verdict::damaged;
  }
}

CodecResult runWhole(const Codec& codec, z_stream stream) {
  CodecResult result;
  const auto count = stream.avail_in;
  const auto capacity = stream.avail_out;
  if (const int answer = codec.start(stream); answer != Z_OK) {
    result.verdict = answer == Z_MEM_ERROR ? Verdict::noMemory : Verdict::misused;
    return result;
  }
  result.started = true;
  const int answer = codec.run(&stream, Z_FINISH);
  result.produced = capacity - stream.avail_out;
  result.consumed = count - stream.avail_in;
  result.verdict = verdictOf(answer, stream, codec);
  codec.end(&stream);
  return result;
}

CodecResult deflateWhole(const unsigned char* source, std::size_t count, unsigned char* dest, std::size_t capacity) {
  return runWhole(kDeflate, streamOver(source, count, dest, capacity));
}

/// The fast way for what is whole and sound; zlib's own words and bytes for all else.
CodecResult inflateWhole(const unsigned char* source, std::size_t count, unsigned char* dest, std::size_t capacity) {
  if (const auto inflated = fastInflate(source, count, dest, capacity)) {
    return {Verdict::complete, inflated->produced, inflated->consumed, true};
  }
  return runWhole(kInflate, streamOver(source, count, dest, capacity));
}

}  // namespace

CodecCalls& codecCalls() noexcept {
  static CodecCalls calls{deflateWhole, inflateWhole};
  return calls;
}

CodecResult compressBlock(const unsigned char* source, std::size_t count, unsigned char* dest, std::size_t capacity) {
  return codecCalls().compress(source, count, dest, capacity);
}

CodecResult decompressBlock(const unsigned char* source, std::size_t count, unsigned char* dest, std::size_t capacity) {
  return codecCalls().decompress(source, count, dest, capacity);
}

bool yieldsAll(const unsigned char* cutStream, std::size_t count, std::size_t plainSize) {
  std::array<unsigned char, 16 * 1024> piece;
  z_stream stream = streamOver(cutStream, count, nullptr, 0);
  if (startInflate(stream) != Z_OK) {
    return false;
  }
  std::size_t produced = 0;
  int answer = Z_OK;
  while (answer == Z_OK) {
    stream.next_out = piece.data();
    stream.avail_out = static_cast<uInt>(piece.size());
    answer = inflate(&stream, Z_NO_FLUSH);
    produced += piece.size() - stream.avail_out;
  }
  inflateEnd(&stream);
  return (answer == Z_BUF_ERROR || answer == Z_STREAM_END) && produced == plainSize;
}

bool beginsZlibStream(const unsigned char* bytes) noexcept {
  constexpr unsigned kDeflateMethod = 8;
  constexpr unsigned kLargestWindow = 7;
  constexpr unsigned kDivisor = 31;
  return (bytes[0] & 0x0FU) == kDeflateMethod && bytes[0] >> 4U <= kLargestWindow &&
         (bytes[0] * 256U + bytes[1]) % kDivisor == 0;
}

}  // namespace datasource::form
