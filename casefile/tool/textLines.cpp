#include "textLines.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "casefile/error.h"
#include "failure.h"

namespace casefile::program {
namespace {

// How much of a line's piece belongs to the line, its end included.
std::size_t restOfLine(std::span<const std::byte> piece) {
  const void* const end = std::memchr(piece.data(), '\n', piece.size());
  return end == nullptr ? piece.size()
                        : static_cast<std::size_t>(static_cast<const std::byte*>(end) - piece.data()) + 1;
}

/// Compares bytes, piece by piece, with the dictionary part of a file.
class DictionaryComparison {
 public:
  explicit DictionaryComparison(Appender& file) : file_(file) {}

  /// Returns: whether the dictionary part goes on with these bytes.
  bool goesOnWith(std::span<const std::byte> piece) {
    const auto rest = static_cast<std::size_t>(file_.row0() - position_);
    expected_.resize(std::min(piece.size(), rest));
    expected_.resize(file_.readAt(expected_, position_));
    const auto same = std::mismatch(expected_.begin(), expected_.end(), piece.begin(), piece.end()).first;
    const auto count = same - expected_.begin();
    position_ += count;
    return static_cast<std::size_t>(count) == piece.size();
  }

  bool isAtEnd() const { return position_ == file_.row0(); }
  int64 position() const noexcept { return position_; }

 private:
  Appender& file_;
  std::vector<std::byte> expected_;
  int64 position_ = 0;  // of what is compared next
};

bool isText(std::span<const std::byte> bytes) {
  constexpr std::string_view kAllowed = "\t\n\v\f\r\x1b";
  return std::none_of(bytes.begin(), bytes.end(), [kAllowed](std::byte byte) {
    const char letter = static_cast<char>(byte);
    return (static_cast<unsigned char>(letter) < ' ' || letter == '\x7f') &&
           kAllowed.find(letter) == std::string_view::npos;
  });
}

std::vector<std::byte> bytesAt(Appender& file, int64 position, int64 count) {
  std::vector<std::byte> bytes(static_cast<std::size_t>(count));
  bytes.resize(file.readAt(bytes, position));
  return bytes;
}

}  // namespace

void skipHeaderLines(PlainInput& input, int64 count, Appender& file, const std::string& fileName) {
  DictionaryComparison dictionary(file);
  const auto refuse = [&] {
    throw Failure(input.name(),
                  "its first " + std::to_string(count) + " lines are not the dictionary part of " + fileName +
                      ": they differ at byte " + std::to_string(dictionary.position()),
                  kRefused);
  };
  for (int64 ended = 0; ended < count && input.fill();) {
    const auto piece = input.bytes().first(restOfLine(input.bytes()));
    if (!dictionary.goesOnWith(piece)) {
      refuse();
    }
    ended += piece.back() == std::byte{'\n'} ? 1 : 0;
    input.take(piece.size());
  }
  if (!dictionary.isAtEnd()) {
    refuse();
  }
}

bool endsInsideLine(Appender& file) try {
  constexpr int64 kLookedAt = 4096;
  const int64 row0 = file.row0();
  const int64 end = file.position();
  if (end == row0 || !isText(bytesAt(file, 0, std::min(row0, kLookedAt)))) {
    return false;
  }
  const auto last = bytesAt(file, std::max(row0, end - kLookedAt), std::min(end - row0, kLookedAt));
  return !last.empty() && last.back() != std::byte{'\n'} && isText(last);
} catch (const Error&) {
  return false;
}

}  // namespace casefile::program
