#ifndef CASEFILE_ERROR_H
#define CASEFILE_ERROR_H

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "casefile/export.h"
#include "casefile/range.h"

namespace casefile {

/// Why a call could not do what it was asked to.
enum class ErrorKind {
  system,        ///< the operating system refused something: Error::code() says what
  notADataFile,  ///< there are no case data, or it cannot be told which are meant
  damaged,       ///< the file breaks a rule of its form, or a block cannot be inflated
  doesNotFit,    ///< a block's data hardly compress: its compressed form is longer than the file form allows
  busy,          ///< somebody else is at work on the file
  usage,         ///< the call itself is wrong: an argument, or an object that is in no state for it
  cancelled      ///< a progress callback asked to stop
};

/// Returns: a text in which control characters, which could steer a terminal, and bytes that are no letter in UTF-8,
///   some of which are such characters to some terminals, stand as `\xNN`.
CASEFILE_API std::string printable(std::string_view text);

/// The one exception of this library. What a program's own sources, sinks and callbacks throw passes through
/// unchanged, and so does std::bad_alloc.
class CASEFILE_API Error : public std::runtime_error {
 public:
  /// Where it happened, as far as that can be told.
  struct Place {
    std::string file;  ///< the name that the program gave; empty: there is no file
    /// What was being done: "read", "open", "rename", ... With `notADataFile` a few tell more: "find": the case data
    /// were looked for, and a row-0 position that is told may help; "choose": others lie behind those that were found.
    std::string operation;
    std::error_code code;                      ///< the system's reason; no error: it gave none
    std::optional<std::int64_t> filePosition;  ///< in the file as it lies on the disk
    std::optional<LogicalRange> range;         ///< of the uncompressed data
    std::string leftBehind = {};               ///< see Error::leftBehind()
  };

  /// `happened` follows the file's name in a sentence: "cannot be read", "block 3 is damaged".
  Error(ErrorKind kind, const std::string& happened, Place place);
  /// The same error of a call that leaves its working file behind.
  Error(const Error& error, const std::string& leftBehind);
  Error(const Error&) noexcept;
  Error& operator=(const Error&) noexcept;
  ~Error() override;

  /// Returns: what kind of error it is, for a program that decides by it.
  ErrorKind kind() const noexcept { return kind_; }
  /// Returns: the name that the program gave; empty: there is no file.
  const std::string& file() const noexcept { return place_->file; }
  /// Returns: what was being done (Place::operation).
  const std::string& operation() const noexcept { return place_->operation; }
  /// Returns: the system's reason, which compares with std::errc in the program's module: a DLL with a runtime of its
  /// own has standard categories of its own, too.
  std::error_code code() const noexcept {
    const bool generic = std::string_view(place_->code.category().name()) == "generic";
    return generic ? std::error_code(place_->code.value(), std::generic_category()) : place_->code;
  }
  /// Returns: where it happened in the file as it lies on the disk; none: it cannot be told.
  std::optional<std::int64_t> filePosition() const noexcept { return place_->filePosition; }
  /// Returns: the uncompressed bytes that it concerns; none: it cannot be told.
  std::optional<LogicalRange> range() const noexcept { return place_->range; }
  /// Returns: the name of the working file in which the call wrote its output and which it could not remove when it
  ///   failed; empty: nothing is left behind. Writer and Appender have a call of their own for it.
  const std::string& leftBehind() const noexcept { return place_->leftBehind; }
  // what(): "FILE: what happened: the system's reason", one printable() line.
  /// Returns: what() without the file's name.
  std::string happened() const;

 private:
  CASEFILE_LOCAL Error(const std::string& text, ErrorKind kind, std::shared_ptr<const Place> place);

  ErrorKind kind_;
  std::shared_ptr<const Place> place_;  // shared, so that a copy raises nothing
};

}  // namespace casefile

#endif
