#include <zlib.h>

#include "encoders.h"

namespace datasource::form {
namespace {

/// zlib at level 1: the bytes that the streams write.
class ZlibEncoder : public BlockEncoder {
 public:
  std::string_view name() const noexcept override { return "zlib"; }
  std::size_t bound(std::size_t count) const noexcept override { return compressBound(static_cast<uLong>(count)); }
  CodecResult compress(const unsigned char* source, std::size_t count, unsigned char* dest,
                       std::size_t capacity) override {
    return compressBlock(source, count, dest, capacity);
  }
};

}  // namespace

std::unique_ptr<BlockEncoder> makeZlibEncoder() { return std::make_unique<ZlibEncoder>(); }

}  // namespace datasource::form
