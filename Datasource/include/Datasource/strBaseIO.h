#ifndef DATASOURCE_STRBASEIO_H
#define DATASOURCE_STRBASEIO_H

#include <cstddef>

#include "Datasource/export.h"
#include "Datasource/platform/types.h"

/// A byte stream: what code that reads or writes a data file holds, without knowing whether the file
/// is plain or compressed.
///
/// All positions are logical positions in bytes: those of the uncompressed data. Status results are
/// 1 for success and 0 for failure unless told otherwise.
///
/// The order of the virtual operations is part of the design.
///
/// Threads: a stream is used by one thread at a time; it has no lock of its own.
class DATASOURCE_API VORN_StrBaseIO {
 public:
  /// What a seek's offset is added to. Every value other than 1 and 2 counts as SeekFromStart.
  enum SeekDirection : int { SeekFromStart = 0, SeekFromCurrent = 1, SeekFromEnd = 2 };

  VORN_StrBaseIO() noexcept = default;
  VORN_StrBaseIO(const VORN_StrBaseIO&) noexcept {}
  /// Copies nothing.
  VORN_StrBaseIO& operator=(const VORN_StrBaseIO&) noexcept {
    return *this;
  }  // NOLINT(bugprone-unhandled-self-assignment)

  /// Writes out what is still buffered.
  /// Raises: what writing raises; while the stack unwinds, the error goes to the lost-error handler
  ///   instead.
  virtual ~VORN_StrBaseIO() noexcept(false);

  /// Resets the error state to good.
  virtual void Clear() = 0;
  /// Returns: 1 while no error has been recorded, else 0.
  virtual int Good() = 0;
  /// Reads up to `n` bytes at the current position, which advances by as many.
  /// Returns: bytes delivered, fewer than `n` only at the end of the data; 0 for `n` = 0 or a stream
  ///   that is not open.
  virtual std::size_t Read(void* dest, std::size_t n) = 0;
  /// Writes `n` bytes at the current position, which advances by as many.
  /// Returns: bytes accepted; 0 for `n` = 0 or a stream that is not open.
  virtual std::size_t Write(const void* src, std::size_t n) = 0;
  /// Sets the current position and clears the end-of-data flag; moves no data.
  /// Returns: 0, or -1 for a stream that is not open.
  virtual int Seek(int64 offset, SeekDirection from) = 0;
  /// Returns: the current position.
  virtual int64 Tell() const = 0;
  /// Returns: 1 when the last physical read found no more data, else 0.
  virtual int EndOfFile() = 0;

  /// Seek for callers that hold the direction as a number.
  int Seek(int64 offset, int whence) { return Seek(offset, static_cast<SeekDirection>(whence)); }
};

#endif
