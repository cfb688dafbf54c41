#include "damage/damaged.h"

#include <algorithm>
#include <utility>

namespace proof {

Damaged::Damaged(const Shape& shape, const Bytes& before, Bytes bytes)
    : shape_(shape), before_(before), file_(std::move(bytes)), book_(readByTheBook(file_, shape.row0, kSmallBlock)) {
  if (book_.sound) {
    bookBytes_ = book_.logical();
  }
}

bool Damaged::hasItsHeading() const noexcept {
  constexpr std::size_t kHeading = 24;
  const auto start = static_cast<std::size_t>(shape_.row0);
  return file_.size() >= start + kHeading &&
         std::equal(file_.begin() + shape_.row0, file_.begin() + shape_.row0 + kHeading,
                    shape_.file.begin() + shape_.row0);
}

std::string Damaged::judge(std::int64_t position, unsigned char byte, Tally& tally) const {
  const auto at = static_cast<std::size_t>(position);
  const bool isOld = at < before_.size() && before_[at] == byte;
  const bool isOfTheBook = at < bookBytes_.size() && bookBytes_[at] == byte;
  // The dictionary part carries no check value.
  const bool isOfTheDictionary = position < shape_.row0 && at < file_.size() && file_[at] == byte;
  if (isOld || isOfTheBook || isOfTheDictionary) {
    return "";
  }
  if (zlibCallsItRight(position, byte)) {
    ++tally["wrong bytes that zlib's check value does not see"];
    return "";
  }
  return "a wrong byte at " + std::to_string(at);
}

std::string Damaged::judge(std::int64_t position, const unsigned char* bytes, std::size_t count, Tally& tally) const {
  const auto start = static_cast<std::size_t>(position);
  if (position >= 0 && start <= before_.size() && count <= before_.size() - start &&
      std::equal(bytes, bytes + count, before_.begin() + position)) {
    return "";  // the quick way, of most bytes
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (std::string wrong = judge(position + static_cast<std::int64_t>(i), bytes[i], tally); !wrong.empty()) {
      return wrong;
    }
  }
  return "";
}

bool Damaged::zlibCallsItRight(std::int64_t position, unsigned char byte) const {
  return std::any_of(book_.blocks.begin(), book_.blocks.end(), [&](const FoundBlock& block) {
    const std::int64_t within = position - block.logical;
    return block.whole && within >= 0 && within < static_cast<std::int64_t>(block.bytes.size()) &&
           block.bytes[static_cast<std::size_t>(within)] == byte;
  });
}

}  // namespace proof
