#include <isa-l/igzip_lib.h>

#include <array>
#include <cstdint>

#include "encoders.h"

namespace datasource::form {
namespace {

/// What a search for blocks looks for. Versions of ISA-L differ in the level that they name in the second byte, which
/// means nothing to whoever inflates.
void writeHead(unsigned char* dest) noexcept {
  dest[0] = 0x78;
  dest[1] = 0x01;
}

/// ISA-L at level 1.
class IsalEncoder : public BlockEncoder {
 public:
  std::string_view name() const noexcept override { return "isal"; }

  // It stores what it cannot make smaller, in pieces of at most 64 KiB less one, each behind five bytes; around
  // them stand the two bytes of the head and the four of the check value. It wants a few bytes more than it fills.
  std::size_t bound(std::size_t count) const noexcept override {
    constexpr std::size_t kLongestStored = 65'535;
    constexpr std::size_t kSpare = 8;
    return count + (count / kLongestStored + 1) * 5 + 6 + kSpare;
  }

  CodecResult compress(const unsigned char* source, std::size_t count, unsigned char* dest,
                       std::size_t capacity) override {
    isal_deflate_stateless_init(&state_);
    state_.level = 1;
    state_.level_buf = work_.data();
    state_.level_buf_size = static_cast<std::uint32_t>(work_.size());
    state_.gzip_flag = IGZIP_ZLIB;
    state_.end_of_stream = 1;
    state_.flush = NO_FLUSH;
    state_.next_in = const_cast<unsigned char*>(source);  // it writes nothing there
    state_.avail_in = static_cast<std::uint32_t>(count);
    state_.next_out = dest;
    state_.avail_out = static_cast<std::uint32_t>(capacity);
    CodecResult result;
    result.started = true;
    if (isal_deflate_stateless(&state_) == COMP_OK) {
      writeHead(dest);
      result.verdict = Verdict::complete;
      result.produced = state_.total_out;
      result.consumed = count;
    } else {
      result.verdict = Verdict::outputFull;
    }
    return result;
  }

 private:
  isal_zstream state_;
  std::array<std::uint8_t, ISAL_DEF_LVL1_DEFAULT> work_;
};

}  // namespace

std::unique_ptr<BlockEncoder> makeIsalEncoder() { return std::make_unique<IsalEncoder>(); }

bool isalIsBuiltIn() noexcept { return true; }

}  // namespace datasource::form
