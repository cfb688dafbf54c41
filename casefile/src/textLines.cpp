#include "textLines.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "casefile/appender.h"
#include "casefile/error.h"
#include "casefile/plainInput.h"

namespace casefile {
namespace {

bool isText(std::span<const std::byte> bytes) {
  constexpr std::string_view kAllowed = "\t\n\v\f\r\x1b";
  return std::none_of(bytes.begin(), bytes.end(), [kAllowed](std::byte byte) {
    const char letter = static_cast<char>(byte);
    return (static_cast<unsigned char>(letter) < ' ' || letter == '\x7f') &&
           kAllowed.find(letter) == std::string_view::npos;
  });
}

std::vector<std::byte> bytesAt(Appender& file, std::int64_t position, std::int64_t count) {
  std::vector<std::byte> bytes(static_cast<std::size_t>(count));
  bytes.resize(file.readAt(bytes, position));
  return bytes;
}

}  // namespace

std::size_t restOfLine(std::span<const std::byte> piece) noexcept {
  const auto end = std::find(piece.begin(), piece.end(), std::byte{'\n'});
  return static_cast<std::size_t>(end - piece.begin()) + (end == piece.end() ? 0 : 1);
}

bool endsLine(std::span<const std::byte> piece) noexcept { return !piece.empty() && piece.back() == std::byte{'\n'}; }

void skipHeaderLines(PlainInput& input, std::int64_t count, Appender& appender) {
  std::int64_t same = 0;  // bytes of the dictionary part that are the input's
  const auto refuse = [&] {
    throw Error(ErrorKind::usage,
                "its first " + std::to_string(count) + " lines are not the dictionary part of " + appender.name() +
                    ": they differ at byte " + std::to_string(same),
                {input.name(), "append", {}, {}, {}});
  };
  for (std::int64_t ended = 0; ended < count && !input.peek().empty();) {
    const auto piece = input.peek().first(restOfLine(input.peek()));
    const auto expected = bytesAt(appender, same, std::min<std::int64_t>(appender.row0() - same, std::ssize(piece)));
    const auto differs = std::mismatch(piece.begin(), piece.end(), expected.begin(), expected.end()).first;
    same += differs - piece.begin();
    if (differs != piece.end()) {
      refuse();
    }
    ended += endsLine(piece) ? 1 : 0;
    input.take(piece.size());
  }
  if (same != appender.row0()) {
    refuse();
  }
}

bool endsInsideLine(Appender& appender) try {
  constexpr std::int64_t kLookedAt = 4096;
  const std::int64_t row0 = appender.row0();
  const std::int64_t end = appender.position();
  if (end == row0 || !isText(bytesAt(appender, 0, std::min(row0, kLookedAt)))) {
    return false;
  }
  const auto last = bytesAt(appender, std::max(row0, end - kLookedAt), std::min(end - row0, kLookedAt));
  return !endsLine(last) && isText(last);
} catch (const Error& error) {
  if (error.kind() == ErrorKind::usage) {
    throw;
  }
  return false;
}

}  // namespace casefile
