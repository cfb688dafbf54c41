#include "textLines.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "casefile/error.h"
#include "failure.h"

namespace casefile::program {
namespace {

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

std::size_t restOfLine(std::span<const std::byte> piece) {
  const auto end = std::find(piece.begin(), piece.end(), std::byte{'\n'});
  return static_cast<std::size_t>(end - piece.begin()) + (end == piece.end() ? 0 : 1);
}

bool endsLine(std::span<const std::byte> piece) { return !piece.empty() && piece.back() == std::byte{'\n'}; }

void skipHeaderLines(PlainInput& input, int64 count, Appender& file, const std::string& fileName) {
  int64 same = 0;  // bytes of the dictionary part that are the input's
  const auto refuse = [&] {
    throw Failure(input.name(),
                  "its first " + std::to_string(count) + " lines are not the dictionary part of " + fileName +
                      ": they differ at byte " + std::to_string(same),
                  kRefused);
  };
  for (int64 ended = 0; ended < count && input.fill();) {
    const auto piece = input.bytes().first(restOfLine(input.bytes()));
    const auto expected = bytesAt(file, same, std::min(file.row0() - same, std::ssize(piece)));
    const auto differs = std::mismatch(piece.begin(), piece.end(), expected.begin(), expected.end()).first;
    same += differs - piece.begin();
    if (differs != piece.end()) {
      refuse();
    }
    ended += endsLine(piece) ? 1 : 0;
    input.take(piece.size());
  }
  if (same != file.row0()) {
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
  return !last.empty() && !endsLine(last) && isText(last);
} catch (const Error&) {
  return false;
}

}  // namespace casefile::program
