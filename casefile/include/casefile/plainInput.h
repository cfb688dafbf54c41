#ifndef CASEFILE_PLAININPUT_H
#define CASEFILE_PLAININPUT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "casefile/appender.h"
#include "casefile/export.h"
#include "casefile/writer.h"

namespace casefile {

/// Plain bytes that are read once, from the front to the end: of a file, a pipe, a device, standard input.
///
/// Errors: what cannot be read is an Error (`system`), each time it is tried; a call on an object that was moved from
///   is an Error (`usage`).
/// Threads: one at a time.
class CASEFILE_API PlainInput {
 public:
  /// Is asked in front of every call of the system that may wait, and when a signal interrupts one: whether to give up.
  using MustEnd = bool (*)() noexcept;

  /// Opens what has the name; of a pipe that has one it waits for the other end.
  ///
  /// Requires: on Windows the name is UTF-8; elsewhere its bytes are taken as they are.
  /// Raises: Error: `system` when it cannot be opened; `usage` for a name that no file can have.
  static PlainInput open(const std::string& name);
  /// The same, and that wait and reading end as an Error (`cancelled`) when `mustEnd` says so; null: they go on.
  static PlainInput open(const std::string& name, MustEnd mustEnd);
  /// Reads on from where a descriptor stands that is open already and stays the caller's. `name` is what messages call
  /// it.
  static PlainInput fromDescriptor(int descriptor, std::string name);

  PlainInput(PlainInput&&) noexcept;
  PlainInput& operator=(PlainInput&&) noexcept;
  ~PlainInput();

  /// Returns: what messages call it.
  const std::string& name() const;
  /// Returns: its descriptor, which WriterOptions::sources takes.
  int descriptor() const;
  /// Returns: how long the file is; none for what is no regular file.
  std::optional<std::int64_t> size() const;
  /// Returns: whether it is the file that has a name; false, too, for a name that may not be looked at.
  /// Raises: Error (`system`) when the system fails to tell.
  bool isFile(const std::string& name) const;

  /// Lets reading end as an Error (`cancelled`) when `mustEnd` says so; null, as at first: reading goes on.
  void giveUpWhen(MustEnd mustEnd);

  /// Shows the next bytes and leaves them to be read. They lie there until the next call.
  ///
  /// Returns: at least one, none at the end of the data.
  /// Raises: Error: `system`; `cancelled`.
  /// Cost: one call of the system for each 256 KiB.
  std::span<const std::byte> peek();
  /// Leaves the first `count` of the bytes behind that peek() shows. Raises: Error (`usage`) when there are fewer.
  void take(std::size_t count);
  /// Reads the next bytes into `buffer`.
  ///
  /// Returns: how many; 0 at the end of the data.
  /// Raises: Error: as peek.
  /// Cost: no copy but of what peek() has shown.
  std::size_t read(std::span<std::byte> buffer);

 private:
  class CASEFILE_LOCAL Impl;
  CASEFILE_LOCAL explicit PlainInput(std::unique_ptr<Impl> impl);
  CASEFILE_LOCAL Impl& impl() const;

  std::unique_ptr<Impl> impl_;
};

/// Adds all that is left of an input to a file's case data, read straight into its blocks.
///
/// Raises: Error: as PlainInput::read; as Writer::write or Appender::write.
CASEFILE_API void writeAll(PlainInput& input, Writer& writer);
/// The same for a file that is appended to.
CASEFILE_API void writeAll(PlainInput& input, Appender& appender);

/// Leaves the first `count` lines of an input behind, which must be the dictionary part of the file that is appended
/// to: a table that is exported with its header each time. The end of the input ends a line too.
///
/// Raises: Error: `usage` that says at which byte they differ; as PlainInput::peek; as Appender::readAt.
CASEFILE_API void skipHeaderLines(PlainInput& input, std::int64_t count, Appender& appender);

/// Returns: whether a file's dictionary part and the end of its case data are text, and its last line has no end, so
///   that what is appended goes on in it. Text is what has no control characters but those of lines and tabs in its
///   first, or last, 4 KiB. False, too, where the file cannot be read, which appending tells.
/// Raises: Error (`usage`) when something was appended already.
CASEFILE_API bool endsInsideLine(Appender& appender);

}  // namespace casefile

#endif
