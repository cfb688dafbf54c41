#include "casefile/error.h"

#include <utility>

namespace casefile {
namespace {

std::string inFront(const Error::Place& place) { return place.file.empty() ? "" : printable(place.file) + ": "; }

std::string message(const std::string& happened, const Error::Place& place) {
  return inFront(place) + printable(place.code ? happened + ": " + place.code.message() : happened);
}

Error::Place withLeftBehind(Error::Place place, const std::string& name) {
  place.leftBehind = name;
  return place;
}

}  // namespace

Error::Error(const std::string& text, ErrorKind kind, std::shared_ptr<const Place> place)
    : std::runtime_error(text), kind_(kind), place_(std::move(place)) {}

// Braces keep the order: the place is looked at before it is moved.
Error::Error(ErrorKind kind, const std::string& happened, Place place)
    : Error{message(happened, place), kind, std::make_shared<const Place>(std::move(place))} {}

Error::Error(const Error& error, const std::string& leftBehind)
    : Error(error.what() + printable("; its working file " + leftBehind + " cannot be removed and must be"),
            error.kind_, std::make_shared<const Place>(withLeftBehind(*error.place_, leftBehind))) {}

std::string Error::happened() const { return what() + inFront(*place_).size(); }

Error::Error(const Error&) noexcept = default;
Error& Error::operator=(const Error&) noexcept = default;
Error::~Error() = default;

}  // namespace casefile
