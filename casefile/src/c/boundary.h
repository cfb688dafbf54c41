#ifndef CASEFILE_BOUNDARY_H
#define CASEFILE_BOUNDARY_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "casefile/cBasics.h"
#include "casefile/error.h"

namespace casefile::c {

// The one place where exceptions become statuses. What is not a C++ exception passes no further either.

/// Fills `error`, which may be null, with the exception that is being handled.
casefile_status failed(casefile_error* error) noexcept;
/// Fills `error`, which may be null, with the fact that there is none.
casefile_status succeeded(casefile_error* error) noexcept;
/// Fills `error` with an Error, or with the fact that there is none.
void fillOrClear(casefile_error& error, const std::optional<Error>& raised) noexcept;

/// Copies a text and its null byte, as much of it as there is room for in whole letters.
void copyText(std::string_view text, std::span<char> to) noexcept;

/// Runs the body of a C function.
template <class Body>
casefile_status guarded(casefile_error* error, const Body& body) noexcept {
  try {
    body();
  } catch (...) {
    return failed(error);
  }
  return succeeded(error);
}

/// Raises: Error (`usage`), always: "the C interface was given WHAT".
[[noreturn]] void refuse(const std::string& what);

/// Returns: what the pointer leads to.
/// Raises: Error (`usage`) for a null pointer.
template <class T>
T& required(T* pointer) {
  if (pointer == nullptr) {
    refuse("a null pointer");
  }
  return *pointer;
}

/// Runs the body of a C function that makes a handle out of what `make` returns; null stands there after an error.
template <class Handle, class Make>
casefile_status making(Handle** handle, casefile_error* error, const Make& make) noexcept {
  if (handle != nullptr) {
    *handle = nullptr;
  }
  return guarded(error, [&] {
    Handle*& made = required(handle);  // asked for before anything is made
    made = std::make_unique<Handle>(Handle{make()}).release();
  });
}

/// No version has a longer structure: a size beyond it was never that of one, and what it covers is not written over.
constexpr std::size_t kLongestStructure = 1U << 16U;

/// Fills a structure of the program's as far as it reaches; what a later version may know more of becomes zeros.
/// Raises: Error (`usage`) for a null pointer, and for a size that no structure has.
template <class Structure>
void handOut(const Structure& structure, Structure* to, std::size_t size) {
  required(to);
  if (size > kLongestStructure) {
    refuse("a size that no result has");
  }
  std::memset(static_cast<void*>(to), 0, size);
  std::memcpy(static_cast<void*>(to), &structure, std::min(size, sizeof(structure)));
}

/// Fills options of the program's with the defaults, and with their size. Null is left alone, and so is what has a size
/// that no options have.
template <class Options>
void handOutDefaults(Options defaults, Options* to, std::size_t size) noexcept {
  if (to != nullptr && size <= kLongestStructure) {
    defaults.size = size;
    std::memset(static_cast<void*>(to), 0, size);
    std::memcpy(static_cast<void*>(to), &defaults, std::min(size, sizeof(defaults)));
  }
}

/// Raises: Error (`usage`) when options of that size were never made ready, or ask for what only a later version knows.
void requireKnown(const void* options, std::size_t size, std::size_t knownSize);

/// Returns: options as the program gave them, the defaults for none.
/// Raises: as requireKnown.
template <class Options>
Options known(const Options* given, Options defaults) {
  if (given != nullptr) {
    requireKnown(given, given->size, sizeof(defaults));
    std::memcpy(static_cast<void*>(&defaults), given, sizeof(defaults));
  }
  return defaults;
}

/// Returns: the element of a list.
/// Raises: Error (`usage`) when there is none.
template <class List>
const typename List::value_type& elementOf(const List& list, std::size_t index) {
  if (index >= list.size()) {
    refuse("an index behind the last one");
  }
  return list[index];
}

}  // namespace casefile::c

#endif
