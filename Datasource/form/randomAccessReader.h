#ifndef DATASOURCE_FORM_RANDOMACCESSREADER_H
#define DATASOURCE_FORM_RANDOMACCESSREADER_H

#include <cstddef>

#include "Datasource/platform/types.h"

namespace datasource::form {

/// Bytes that can be read at any file position.
///
/// Threads: one at a time.
class RandomAccessReader {
 public:
  RandomAccessReader() = default;
  RandomAccessReader(const RandomAccessReader&) = default;
  RandomAccessReader& operator=(const RandomAccessReader&) = default;
  virtual ~RandomAccessReader() = default;

  virtual int64 size() const = 0;
  /// Returns: bytes read at `position`, fewer than `count` only at the end; 0 behind it. May raise.
  virtual std::size_t read(void* buffer, std::size_t count, int64 position) = 0;
  /// Returns: the first position from `position` to the end that may hold another byte than zero; where that is not
  ///   known, as here: `position`. May raise.
  virtual int64 nextData(int64 position) const { return position; }
};

}  // namespace datasource::form

#endif
