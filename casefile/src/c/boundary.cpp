#include "boundary.h"

#include <cstdint>
#include <exception>
#include <new>
#include <span>
#include <string_view>
#include <system_error>

namespace casefile::c {
namespace {

constexpr std::int64_t kNone = -1;

// A letter of several bytes is left out rather than cut.
std::size_t wholeLetters(std::string_view text, std::size_t most) noexcept {
  constexpr unsigned char kContinuationMask = 0xC0;
  constexpr unsigned char kContinuation = 0x80;
  if (text.size() <= most) {
    return text.size();
  }
  while (most > 0 && (static_cast<unsigned char>(text[most]) & kContinuationMask) == kContinuation) {
    --most;
  }
  return most;
}

void clear(casefile_error& error, casefile_status status) noexcept {
  error.status = status;
  error.system_code = 0;
  error.file_position = kNone;
  error.range_start = kNone;
  error.range_size = 0;
  error.operation[0] = '\0';
  error.file[0] = '\0';
  error.message[0] = '\0';
  std::memset(error.reserved, 0, sizeof(error.reserved));
}

casefile_status statusOf(ErrorKind kind) noexcept {
  switch (kind) {
    case ErrorKind::system:
      return CASEFILE_SYSTEM;
    case ErrorKind::notADataFile:
      return CASEFILE_NOT_A_DATA_FILE;
    case ErrorKind::damaged:
      return CASEFILE_DAMAGED;
    case ErrorKind::doesNotFit:
      return CASEFILE_DOES_NOT_FIT;
    case ErrorKind::busy:
      return CASEFILE_BUSY;
    case ErrorKind::usage:
      return CASEFILE_USAGE;
    case ErrorKind::cancelled:
      return CASEFILE_CANCELLED;
  }
  return CASEFILE_OTHER;
}

casefile_status fillWith(casefile_error* error, casefile_status status, std::string_view message) noexcept {
  if (error != nullptr) {
    clear(*error, status);
    copyText(message, error->message);
  }
  return status;
}

void fill(casefile_error& error, const Error& raised) noexcept {
  clear(error, statusOf(raised.kind()));
  error.system_code = raised.code().value();
  error.file_position = raised.filePosition().value_or(kNone);
  if (raised.range()) {
    error.range_start = raised.range()->start;
    error.range_size = raised.range()->size;
  }
  copyText(raised.operation(), error.operation);
  copyText(raised.file(), error.file);
  copyText(raised.what(), error.message);
}

}  // namespace

casefile_status failed(casefile_error* error) noexcept {
  try {
    throw;
  } catch (const Error& raised) {
    if (error != nullptr) {
      fill(*error, raised);
    }
    return statusOf(raised.kind());
  } catch (const std::bad_alloc&) {
    return fillWith(error, CASEFILE_NO_MEMORY, "there is not enough memory");
  } catch (const std::exception& raised) {
    return fillWith(error, CASEFILE_OTHER, raised.what());
  } catch (...) {
    return fillWith(error, CASEFILE_OTHER, "a callback raised something that is no std::exception");
  }
}

casefile_status succeeded(casefile_error* error) noexcept { return fillWith(error, CASEFILE_OK, ""); }

void copyText(std::string_view text, std::span<char> to) noexcept {
  const std::size_t count = wholeLetters(text, to.size() - 1);
  std::memcpy(to.data(), text.data(), count);
  to[count] = '\0';
}

void fillOrClear(casefile_error& error, const std::optional<Error>& raised) noexcept {
  if (raised) {
    fill(error, *raised);
  } else {
    succeeded(&error);
  }
}

void refuse(const std::string& what) {
  throw Error(ErrorKind::usage, "the C interface was given " + what, {{}, "call", {}, {}, {}});
}

void requireKnown(const void* options, std::size_t size, std::size_t knownSize) {
  if (size < knownSize || size > kLongestStructure) {  // these bytes were never set
    refuse("options that were not made ready by their init function");
  }
  const auto* const bytes = static_cast<const unsigned char*>(options);
  if (std::any_of(bytes + knownSize, bytes + size, [](unsigned char byte) { return byte != 0; })) {
    refuse("options that only a later version of the library knows");
  }
}

}  // namespace casefile::c
