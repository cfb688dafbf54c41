#ifndef CASEFILE_CASEDATA_H
#define CASEFILE_CASEDATA_H

#include <cstddef>
#include <string>

#include "Datasource/fileStream.h"
#include "Datasource/zcmpsFilestr.h"
#include "layout.h"

namespace casefile::program {

/// Opens a plain stream of the library.
/// Raises: Failure when the file cannot be opened.
class OpenStream {
 public:
  OpenStream(const std::string& file, const char* mode);
  VORN_FileStream& get() noexcept { return stream_; }

 private:
  VORN_FileStream stream_;
};

/// The case data of a compressed file, read through the library.
class CaseReader {
 public:
  /// `ahead`: a thread of its own reads and inflates the next block. Requires: the layout is readable and
  /// outlives the object.
  CaseReader(const std::string& file, const Layout& layout, bool ahead);

  /// Reads up to `count` bytes at a logical position inside the case data.
  /// Returns: bytes read, at least one; a read ends at a block's end.
  /// Raises: Failure when the block is damaged.
  std::size_t read(void* buffer, std::size_t count, int64 logical);

 private:
  void begin();

  std::string file_;
  const Layout& layout_;
  OpenStream plain_;
  zcmpsFilestr stream_;
};

/// Raises: Failure that names a block, when the finished file holds one that was cut because it did not
/// fit its compressed form.
void requireAllFitted(const zcmpsFilestr& finished, const std::string& file, int64 row0);

}  // namespace casefile::program

#endif
