#ifndef CASEFILE_RANDOMACCESSFILE_H
#define CASEFILE_RANDOMACCESSFILE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "casefile/export.h"

namespace casefile {

/// Bytes that can be read at any position, by any number of threads at once. A program supplies its own by
/// deriving from it: an object store, an archive's member, a decrypting layer.
class CASEFILE_API RandomAccessFile {
 public:
  RandomAccessFile() = default;
  virtual ~RandomAccessFile();
  RandomAccessFile(const RandomAccessFile&) = delete;
  RandomAccessFile& operator=(const RandomAccessFile&) = delete;

  /// Returns: what messages call it.
  virtual std::string name() const = 0;

  /// Returns: the length in bytes. It does not change while somebody reads.
  /// Raises: whatever the program wants to see again at its own call.
  virtual std::int64_t size() const = 0;

  /// Reads bytes at a file position.
  ///
  /// Returns: bytes read into the beginning of `buffer`; 0 at the end and behind it. A short count is no
  ///   error: the library asks again for the rest.
  /// Raises: whatever the program wants to see again at its own call.
  /// Threads: any number at once.
  virtual std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const = 0;

  /// Tells where a hole of a sparse file ends, so that a search need not read its zeros.
  ///
  /// Returns: the first file position at `position` or behind it that may hold another byte than zero; `size()` when
  ///   none does. Where that is not known, as here: `position`.
  /// Raises: whatever the program wants to see again at its own call.
  /// Threads: any number at once.
  virtual std::int64_t nextData(std::int64_t position) const;
};

/// Opens a regular file for reading. The holes of a sparse one are known where the system tells them.
///
/// Requires: on Windows the name is UTF-8; elsewhere its bytes are taken as they are.
/// Raises: Error: `system` when it cannot be opened; `notADataFile` when it is no regular file.
CASEFILE_API std::shared_ptr<const RandomAccessFile> openFile(const std::string& name);

/// Reads through a descriptor that is open already and stays the caller's, who closes it after the last use
/// of the result. The descriptor's own position is neither used nor moved (on Windows: it is moved).
/// Holes are not asked for, which would move it: those of a sparse file are read.
///
/// `name` is what messages call it.
/// Raises: Error: `system` when it is no open descriptor; `notADataFile` when it is no regular file's.
CASEFILE_API std::shared_ptr<const RandomAccessFile> fileFromDescriptor(int descriptor, std::string name);

/// Reads bytes in memory, which stay the caller's and outlive the result.
///
/// `name` is what messages call it.
/// Raises: Error (`usage`) for a null pointer with a length.
CASEFILE_API std::shared_ptr<const RandomAccessFile> fileFromMemory(std::span<const std::byte> bytes, std::string name);

}  // namespace casefile

#endif
