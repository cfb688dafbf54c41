#ifndef CASEFILE_STREAM_H
#define CASEFILE_STREAM_H

#include <ios>
#include <istream>
#include <memory>
#include <ostream>
#include <utility>

#include "casefile/range.h"
#include "casefile/reader.h"
#include "casefile/streamBuffers.h"
#include "casefile/writer.h"

// All of this header is compiled into the program, so that program and library may have a standard library each.

namespace casefile {

/// A std::istream over a range of a compressed file's uncompressed data. The stream's position 0 is the range's
/// first byte; any position from there to the range's end can be sought.
///
/// Errors: what reading raises sets badbit and is kept for raiseError(); with exceptions(std::ios::badbit) it
///   passes through at once. Behind a damaged block reading goes on after clear() and seekg().
/// Threads: one at a time; several streams over one Reader are independent.
/// Cost: characters are read where their block lies decoded; each block is decoded once, on the reading thread.
class InputStream : public std::istream {
 public:
  /// Reads all case data.
  ///
  /// Requires: the Reader outlives the stream and is not moved.
  explicit InputStream(const Reader& reader)
      : InputStream(reader, LogicalRange{reader.row0(), reader.size() - reader.row0()}) {}

  /// Reads a range; what lies beyond the end of the data is left out.
  ///
  /// Raises: Error (`usage`) for a negative range.
  InputStream(const Reader& reader, LogicalRange range)
      : std::istream(nullptr), buffer_(std::make_unique<InputBuffer>(reader, range)) {
    rdbuf(buffer_.get());
  }

  InputStream(InputStream&& other) noexcept
      : std::istream(static_cast<std::istream&&>(other)), buffer_(std::move(other.buffer_)) {
    set_rdbuf(buffer_.get());
    other.exceptions(std::ios::goodbit);
    other.rdbuf(nullptr);  // makes it bad
  }
  InputStream& operator=(InputStream&&) = delete;

  /// Raises: what set badbit last, if something was raised.
  void raiseError() const {
    if (buffer_) {
      buffer_->raiseError();
    }
  }

 private:
  std::unique_ptr<InputBuffer> buffer_;
};

/// A std::ostream over a Writer's case data. tellp() counts from where the stream began; only the present position
/// can be sought.
///
/// Bytes reach the Writer when the buffer is full, with flush() and with the destructor: the stream is closed, or
/// finish() called, before the Writer is finished.
///
/// Errors: what writing raises sets badbit and is kept for raiseError(); with exceptions(std::ios::badbit) it
///   passes through at once. The Writer tells it again, so that nothing is lost without a word in the destructor.
/// Threads: one at a time, as the Writer.
/// Cost: one more copy of 64 KiB pieces; longer pieces go to the Writer at once.
class OutputStream : public std::ostream {
 public:
  /// Requires: the Writer outlives the stream, is not moved, and is written by nobody else meanwhile.
  /// Raises: Error (`usage`) when the dictionary part is not written yet or the Writer is in no state to write; the
  ///   error of one that failed.
  explicit OutputStream(Writer& writer) : std::ostream(nullptr), buffer_(std::make_unique<OutputBuffer>(writer)) {
    rdbuf(buffer_.get());
  }

  OutputStream(OutputStream&& other) noexcept
      : std::ostream(static_cast<std::ostream&&>(other)), buffer_(std::move(other.buffer_)) {
    set_rdbuf(buffer_.get());
    other.exceptions(std::ios::goodbit);
    other.rdbuf(nullptr);  // makes it bad
  }
  OutputStream& operator=(OutputStream&&) = delete;

  /// Hands over what is left and finishes the Writer.
  ///
  /// Raises: what writing raised before; as Writer::finish.
  void finish() {
    raiseError();
    if (buffer_) {
      buffer_->finish();
    }
  }

  /// Raises: what set badbit last, if something was raised.
  void raiseError() const {
    if (buffer_) {
      buffer_->raiseError();
    }
  }

 private:
  std::unique_ptr<OutputBuffer> buffer_;
};

}  // namespace casefile

#endif
