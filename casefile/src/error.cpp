#include "casefile/error.h"

#include <algorithm>
#include <utility>

namespace casefile {
namespace {

// A file's name may hold line ends and control characters; a message has one line.
std::string onOneLine(std::string text) {
  constexpr unsigned char kBlank = 0x20;
  constexpr unsigned char kDelete = 0x7F;
  const auto isControl = [](char letter) {
    const auto byte = static_cast<unsigned char>(letter);
    return byte < kBlank || byte == kDelete;
  };
  std::replace_if(text.begin(), text.end(), isControl, '?');
  return text;
}

std::string message(const std::string& happened, const Error::Place& place) {
  std::string text = place.file.empty() ? happened : place.file + ": " + happened;
  if (place.code) {
    text += ": " + place.code.message();
  }
  return onOneLine(std::move(text));
}

Error::Place withLeftBehind(Error::Place place, const std::string& name) {
  place.leftBehind = name;
  return place;
}

}  // namespace

Error::Error(ErrorKind kind, const std::string& happened, Place place)
    : std::runtime_error(message(happened, place)),
      kind_(kind),
      place_(std::make_shared<const Place>(std::move(place))) {}

Error::Error(const Error& error, const std::string& leftBehind)
    : std::runtime_error(
          onOneLine(error.what() + ("; its working file " + leftBehind + " cannot be removed and must be"))),
      kind_(error.kind_),
      place_(std::make_shared<const Place>(withLeftBehind(*error.place_, leftBehind))) {}

Error::Error(const Error&) noexcept = default;
Error& Error::operator=(const Error&) noexcept = default;
Error::~Error() = default;

}  // namespace casefile
