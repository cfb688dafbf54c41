#include "matchFinder.h"

#include <algorithm>
#include <bit>

#include "littleEndian.h"

namespace datasource::form::deflating {
namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t);

std::size_t equalBytes(std::uint64_t difference) noexcept {
  return static_cast<std::size_t>(std::countr_zero(difference)) / 8;
}

/// Returns: how many bytes at `a`, before `end`, are those at `b`; the first word is known to be the same.
std::size_t longMatch(const unsigned char* a, const unsigned char* b, const unsigned char* end) noexcept {
  const auto most = std::min(inflating::kLargestMatch, static_cast<std::size_t>(end - a));
  std::size_t length = kWord;
  for (; length + kWord <= most; length += kWord) {
    if (const std::uint64_t difference = load64(a + length) ^ load64(b + length); difference != 0) {
      return length + equalBytes(difference);
    }
  }
  while (length < most && a[length] == b[length]) {
    ++length;
  }
  return length;
}

// Bytes without a match after which they become tokens, so that no run of literals gets too long.
constexpr std::ptrdiff_t kLongestSearch = 4096;
constexpr std::ptrdiff_t kLongestStride = 16;

/// Returns: how far to go on where the last `missed` bytes had no match: the farther the more of them there are.
std::ptrdiff_t stride(std::ptrdiff_t missed) noexcept { return std::min(1 + missed / 64, kLongestStride); }

}  // namespace

void MatchFinder::start(const unsigned char* buffer, std::size_t count) noexcept {
  static_assert(kTail >= static_cast<std::ptrdiff_t>(kWord) + kLongestStride);
  static_assert(kLongestSearch + kLongestStride + kTail <= static_cast<std::ptrdiff_t>(Tokens::kLongestRun));
  buffer_ = buffer;
  end_ = buffer + count;
  stop_ = end_ - std::min(static_cast<std::ptrdiff_t>(count), kTail);
  positions_.fill(0);
}

void MatchFinder::remember(const unsigned char* at) noexcept { entry(load32(at)) = low16(at); }

MatchFinder::Candidate MatchFinder::look(const unsigned char* at) noexcept {
  const std::uint64_t bytes = load64(at);
  std::uint16_t& known = entry(static_cast<std::uint32_t>(bytes));
  const std::size_t distance = static_cast<std::uint16_t>(low16(at) - known - 1) + std::size_t{1};
  known = low16(at);
  return {load64(at - distance) ^ bytes, distance};
}

const unsigned char* MatchFinder::find(const unsigned char* from, Tokens& tokens) noexcept {
  const unsigned char* literals = from;
  const unsigned char* at = from == buffer_ && from != stop_ ? from + 1 : from;  // nothing is before the first byte
  while (at < stop_) {
    const auto [difference, distance] = look(at);
    if (static_cast<std::uint32_t>(difference) != 0 || distance > inflating::kLargestDistance) {
      at += stride(at - literals);
      if (at - literals >= kLongestSearch) [[unlikely]] {
        tokens.addLiterals(literals, at);
        literals = at;
        if (tokens.full()) {
          return at;
        }
      }
      continue;
    }
    const std::size_t length = difference != 0 ? equalBytes(difference) : longMatch(at, at - distance, end_);
    tokens.addLiterals(literals, at);
    tokens.addMatch(static_cast<unsigned>(length), static_cast<unsigned>(distance));
    remember(at + 1);
    at += length;
    literals = at;
    if (tokens.full()) [[unlikely]] {
      return at;
    }
    if (at < stop_) {
      remember(at - 1);
    }
  }
  tokens.addLiterals(literals, end_);
  return end_;
}

}  // namespace datasource::form::deflating
