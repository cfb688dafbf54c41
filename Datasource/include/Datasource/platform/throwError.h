#ifndef DATASOURCE_PLATFORM_THROWERROR_H
#define DATASOURCE_PLATFORM_THROWERROR_H

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

#include "Datasource/export.h"

/// What ThrowError::StringSys throws. The message reads
/// `strmcat.err 1002: writing "NAME" failed: No space left on device`.
///
/// Copies share their texts and do not throw. The object owns its texts: it may outlive the file.
class DATASOURCE_API StringSysError : public std::runtime_error {
 public:
  /// With the fields that the calls below return; the texts are copied.
  StringSysError(const char* catalogue, long number, const char* text, int systemError);
  StringSysError(const StringSysError&) noexcept = default;
  StringSysError& operator=(const StringSysError&) noexcept = default;
  ~StringSysError() override;

  /// Returns: the catalogue's file name ("strmcat.err").
  const std::string& catalogue() const noexcept { return fields_->catalogue; }
  /// Returns: the message's number: 1002 for writing, seeking before a write and closing; 1003 for
  /// reading and seeking before a read.
  int number() const noexcept { return fields_->number; }
  /// Returns: the text that completes the message: the file's generic name.
  const std::string& text() const noexcept { return fields_->text; }
  /// Returns: the errno value of the call that failed; 0 when the failure had none.
  int systemError() const noexcept { return fields_->systemError; }

 private:
  struct Fields {
    std::string catalogue;
    std::string text;
    int number;
    int systemError;
  };
  std::shared_ptr<const Fields> fields_;
};

/// The error library's door.
class DATASOURCE_API ThrowError {
 public:
  /// Raises StringSysError from the arguments and the present errno, which is taken first of all.
  [[noreturn]] static void StringSys(const char* catalogue, long number, const char* text);
};

namespace datasource::platform {

/// Told about an error that nobody can be given: one met in a destructor that already unwinds, or in
/// the destructor of a raw file, or by a callback on a pool thread. `where` names the place.
/// Must not throw.
using LostErrorHandler = void (*)(const char* where, const std::exception_ptr& error);

/// Replaces the handler; null restores the default, which prints one line on standard error.
/// Returns: the handler before (null for the default). Threads: any.
DATASOURCE_API LostErrorHandler setLostErrorHandler(LostErrorHandler handler) noexcept;

/// Hands an error to the handler in force.
DATASOURCE_API void reportLostError(const char* where, const std::exception_ptr& error) noexcept;

}  // namespace datasource::platform

#endif
