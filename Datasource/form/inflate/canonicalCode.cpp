#include "canonicalCode.h"

namespace datasource::form::inflating {

Fullness CanonicalCode::assign(const std::uint8_t* lengths, std::size_t symbols) noexcept {
  count_.fill(0);
  for (std::size_t i = 0; i < symbols; ++i) {
    ++count_[lengths[i]];
  }
  const bool none = count_[0] == symbols;
  count_[0] = 0;
  unsigned word = 0;
  unsigned place = 0;
  for (unsigned length = 1; length <= kLongestCode; ++length) {
    word *= 2;
    first_[length] = static_cast<std::uint16_t>(word);
    place_[length] = static_cast<std::uint16_t>(place);
    word += count_[length];
    place += count_[length];
    if (word > 1U << length) {
      return Fullness::oversubscribed;
    }
  }
  auto next = place_;
  for (std::size_t i = 0; i < symbols; ++i) {
    if (lengths[i] != 0) {
      symbols_[next[lengths[i]]++] = static_cast<std::uint16_t>(i);
    }
  }
  full_ = word == 1U << kLongestCode;
  if (full_) {
    return Fullness::full;
  }
  if (none) {
    return Fullness::none;
  }
  return count_[1] == 1 && place == 1 ? Fullness::singleBit : Fullness::undersubscribed;
}

Word CanonicalCode::decode(std::uint64_t bits) const noexcept {
  unsigned word = 0;
  for (unsigned length = 1; length <= kLongestCode; ++length) {
    word = word << 1U | static_cast<unsigned>(bits & 1U);
    bits >>= 1U;
    if (const unsigned number = word - first_[length]; number < count_[length]) {
      return {symbols_[place_[length] + number], length};
    }
  }
  return {};
}

}  // namespace datasource::form::inflating
