#include "blockCheck.h"

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <new>

#include "compressedForm.h"
#include "failure.h"

namespace casefile {
namespace {

constexpr std::size_t kPiece = 64 * 1024;

std::string faultOf(int verdict, const char* zlibText) {
  if (verdict == Z_STREAM_END) {
    return {};
  }
  if (verdict == Z_OK || verdict == Z_BUF_ERROR) {
    return "the zlib stream does not end where it must";
  }
  return std::string("the zlib stream is damaged") + (zlibText != nullptr ? std::string(": ") + zlibText : "");
}

}  // namespace

struct BlockChecker::Inflater {
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

BlockChecker::BlockChecker() : inflater_(std::make_unique<Inflater>()), compressed_(kPiece), plain_(kPiece) {}
BlockChecker::~BlockChecker() = default;

StreamFacts BlockChecker::check(ByteSource& source, int64 position, int64 room) {
  z_stream& stream = inflater_->stream;
  inflateReset(&stream);
  stream.avail_in = 0;
  StreamFacts facts;
  int64 taken = 0;
  int verdict = Z_OK;
  while (verdict == Z_OK) {
    if (stream.avail_in == 0) {
      const auto wanted = static_cast<std::size_t>(std::min<int64>(room - taken, static_cast<int64>(kPiece)));
      const std::size_t got = wanted == 0 ? 0 : source.read(compressed_.data(), wanted, position + taken);
      stream.next_in = compressed_.data();
      stream.avail_in = static_cast<uInt>(got);
      taken += static_cast<int64>(got);
      throwIfInterrupted();
    }
    stream.next_out = plain_.data();
    stream.avail_out = static_cast<uInt>(kPiece);
    verdict = inflate(&stream, Z_NO_FLUSH);
    facts.plainSize += static_cast<int64>(kPiece - stream.avail_out);
    if (facts.plainSize > static_cast<int64>(kBlockSize)) {
      facts.fault = "the zlib stream holds more than a block";
      break;
    }
  }
  facts.compressedSize = taken - stream.avail_in;
  if (facts.fault.empty()) {
    facts.fault = faultOf(verdict, stream.msg);
  }
  return facts;
}

}  // namespace casefile
