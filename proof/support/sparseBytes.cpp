#include "support/sparseBytes.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

namespace proof {
namespace {

constexpr auto kNotZero = [](unsigned char byte) { return byte != 0; };

}  // namespace

SparseBytes::SparseBytes(const Bytes& bytes) { write(bytes.data(), bytes.size(), 0); }

void SparseBytes::resize(std::int64_t size) {
  constexpr auto kLength = static_cast<std::int64_t>(kPage);
  if (size < size_) {
    pages_.erase(pages_.lower_bound((size + kLength - 1) / kLength), pages_.end());
    if (const auto last = pages_.find(size / kLength); last != pages_.end()) {
      std::fill(last->second.begin() + size % kLength, last->second.end(), static_cast<unsigned char>(0));
    }
  }
  size_ = size;
}

std::size_t SparseBytes::read(unsigned char* to, std::size_t count, std::int64_t position) const {
  const std::size_t size =
      position < 0 || position >= size_
          ? 0
          : std::min(count, static_cast<std::size_t>(std::min<std::int64_t>(size_ - position, 1 << 30)));
  for (std::size_t done = 0; done < size;) {
    const auto at = static_cast<std::uint64_t>(position) + done;
    const std::size_t within = at % kPage;
    const std::size_t part = std::min(size - done, kPage - within);
    if (const auto page = pages_.find(static_cast<std::int64_t>(at / kPage)); page != pages_.end()) {
      std::memcpy(to + done, page->second.data() + within, part);
    } else {
      std::memset(to + done, 0, part);
    }
    done += part;
  }
  return size;
}

Bytes SparseBytes::read(std::size_t count, std::int64_t position) const {
  Bytes result(count);
  result.resize(read(result.data(), count, position));
  return result;
}

void SparseBytes::write(const unsigned char* bytes, std::size_t count, std::int64_t position) {
  for (std::size_t done = 0; done < count;) {
    const auto at = static_cast<std::uint64_t>(position) + done;
    const std::size_t within = at % kPage;
    const std::size_t part = std::min(count - done, kPage - within);
    const auto number = static_cast<std::int64_t>(at / kPage);
    if (pages_.contains(number) || std::any_of(bytes + done, bytes + done + part, kNotZero)) {
      std::memcpy(pages_[number].data() + within, bytes + done, part);
    }
    done += part;
  }
  size_ = std::max(size_, position + static_cast<std::int64_t>(count));
}

std::int64_t SparseBytes::nextData(std::int64_t position) const {
  constexpr auto kLength = static_cast<std::int64_t>(kPage);
  for (auto page = pages_.lower_bound(position / kLength); page != pages_.end(); ++page) {
    const std::int64_t start = page->first * kLength;
    const auto from = page->second.begin() + std::max<std::int64_t>(0, position - start);
    if (const auto found = std::find_if(from, page->second.end(), kNotZero); found != page->second.end()) {
      return start + (found - page->second.begin());
    }
  }
  return size_;
}

Bytes SparseBytes::bytes() const {
  constexpr std::int64_t kMost = std::int64_t{64} << 20;
  if (size_ > kMost) {
    throw std::logic_error("a file of " + std::to_string(size_) + " bytes");
  }
  return read(static_cast<std::size_t>(size_), 0);
}

bool SparseBytes::operator==(const SparseBytes& other) const {
  const auto holds = [](const SparseBytes& one, const SparseBytes& another) {
    return std::all_of(one.pages_.begin(), one.pages_.end(), [&](const auto& page) {
      const auto found = another.pages_.find(page.first);
      return found != another.pages_.end() ? found->second == page.second
                                           : std::none_of(page.second.begin(), page.second.end(), kNotZero);
    });
  };
  return size_ == other.size_ && holds(*this, other) && holds(other, *this);
}

}  // namespace proof
