#include "damage/damaged.h"

#include <algorithm>
#include <span>
#include <utility>

namespace proof {
namespace {

class OpenedBytes : public casefile::RandomAccessFile {
 public:
  explicit OpenedBytes(const SparseBytes& bytes) : bytes_(bytes) {}
  std::string name() const override { return "file"; }
  std::int64_t size() const override { return bytes_.size(); }
  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const override {
    return bytes_.read(reinterpret_cast<unsigned char*>(buffer.data()), buffer.size(), position);
  }
  std::int64_t nextData(std::int64_t position) const override { return bytes_.nextData(position); }

 private:
  const SparseBytes& bytes_;
};

bool isAt(const SparseBytes& bytes, std::int64_t position, unsigned char expected) {
  unsigned char byte = 0;
  return bytes.read(&byte, 1, position) == 1 && byte == expected;
}

}  // namespace

std::shared_ptr<const casefile::RandomAccessFile> opened(const SparseBytes& bytes) {
  return std::make_shared<OpenedBytes>(bytes);
}

Damaged::Damaged(const Shape& shape, const SparseBytes& before, SparseBytes bytes)
    : shape_(shape), before_(before), file_(std::move(bytes)), book_(readByTheBook(file_, shape.row0, kSmallBlock)) {
  if (book_.sound) {
    bookBytes_ = book_.logical();
  }
}

bool Damaged::hasItsHeading() const noexcept {
  constexpr std::size_t kHeading = 24;
  const Bytes heading = file_.read(kHeading, shape_.row0);
  return heading.size() == kHeading && heading == shape_.whole().read(kHeading, shape_.row0);
}

std::string Damaged::judge(std::int64_t position, unsigned char byte, Tally& tally) const {
  // The dictionary part carries no check value.
  const bool isOfTheDictionary = position < shape_.row0 && isAt(file_, position, byte);
  if (isAt(before_, position, byte) || isAt(bookBytes_, position, byte) || isOfTheDictionary) {
    return "";
  }
  if (zlibCallsItRight(position, byte)) {
    ++tally["wrong bytes that zlib's check value does not see"];
    return "";
  }
  return "a wrong byte at " + std::to_string(position);
}

std::string Damaged::judge(std::int64_t position, const unsigned char* bytes, std::size_t count, Tally& tally) const {
  const Bytes right = before_.read(count, position);
  if (right.size() == count && std::equal(bytes, bytes + count, right.begin())) {
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
