#ifndef CASEFILE_HANDLESOURCE_H
#define CASEFILE_HANDLESOURCE_H

#include <cstddef>
#include <string>

#include "byteSource.h"
#include "fileNames.h"

namespace casefile::program {

/// The bytes of a file that is open already, whatever has its name by now. The library's own reading handle
/// would refuse a file that is open for writing, on a system where handles exclude each other.
class HandleSource : public ByteSource {
 public:
  /// Requires: the file outlives the object. `name` is what messages call it.
  HandleSource(const files::SystemFile& file, std::string name);
  const std::string& name() const noexcept override { return name_; }
  int64 size() const override { return size_; }
  /// Raises: Failure (kRefused) when the file cannot be read.
  std::size_t read(void* buffer, std::size_t count, int64 position) override;

 private:
  const files::SystemFile& file_;
  std::string name_;
  int64 size_;
};

}  // namespace casefile::program

#endif
