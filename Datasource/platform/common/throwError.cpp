#include "Datasource/platform/throwError.h"

#include <cerrno>

#include "systemErrorText.h"

namespace {

const char* orEmpty(const char* text) { return text == nullptr ? "" : text; }

const char* action(long number) {
  switch (number) {
    case 1002:
      return "writing";
    case 1003:
      return "reading";
    default:
      return "an operation on";
  }
}

std::string message(const char* catalogue, long number, const char* text, int systemError) {
  std::string result = orEmpty(catalogue);
  result += ' ';
  result += std::to_string(number);
  result += ": ";
  result += action(number);
  result += " \"";
  result += orEmpty(text);
  result += "\" failed";
  if (systemError != 0) {
    result += ": ";
    result += datasource::platform::systemErrorText(systemError);
  }
  return result;
}

}  // namespace

StringSysError::StringSysError(const char* catalogue, long number, const char* text, int systemError)
    : std::runtime_error(message(catalogue, number, text, systemError)),
      fields_(std::make_shared<const Fields>(
          Fields{orEmpty(catalogue), orEmpty(text), static_cast<int>(number), systemError})) {}

StringSysError::~StringSysError() = default;

void ThrowError::StringSys(const char* catalogue, long number, const char* text) {
  const int systemError = errno;
  throw StringSysError(catalogue, number, text, systemError);
}
