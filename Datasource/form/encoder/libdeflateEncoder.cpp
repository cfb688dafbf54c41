#include <libdeflate.h>

#include <new>

#include "encoders.h"

namespace datasource::form {
namespace {

constexpr int kFastest = 1;

struct Releasing {
  void operator()(libdeflate_compressor* compressor) const noexcept { libdeflate_free_compressor(compressor); }
};

/// libdeflate at level 1.
class LibdeflateEncoder : public BlockEncoder {
 public:
  LibdeflateEncoder() : compressor_(libdeflate_alloc_compressor(kFastest)) {
    if (compressor_ == nullptr) {
      throw std::bad_alloc();
    }
  }
  std::string_view name() const noexcept override { return "libdeflate"; }
  std::size_t bound(std::size_t count) const noexcept override {
    return libdeflate_zlib_compress_bound(compressor_.get(), count);
  }
  CodecResult compress(const unsigned char* source, std::size_t count, unsigned char* dest,
                       std::size_t capacity) override {
    CodecResult result;
    result.started = true;
    result.produced = libdeflate_zlib_compress(compressor_.get(), source, count, dest, capacity);
    result.verdict = result.produced != 0 ? Verdict::complete : Verdict::outputFull;
    result.consumed = result.produced != 0 ? count : 0;
    return result;
  }

 private:
  std::unique_ptr<libdeflate_compressor, Releasing> compressor_;
};

}  // namespace

std::unique_ptr<BlockEncoder> makeLibdeflateEncoder() { return std::make_unique<LibdeflateEncoder>(); }

}  // namespace datasource::form
