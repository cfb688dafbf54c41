#ifndef CASEFILE_CASEDATA_H
#define CASEFILE_CASEDATA_H

#include <string>

#include "Datasource/fileStream.h"
#include "Datasource/platform/types.h"
#include "Datasource/zcmpsFilestr.h"

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

/// Raises: Failure that names a block, when the finished file holds one that was cut because it did not
/// fit its compressed form.
void requireAllFitted(const zcmpsFilestr& finished, const std::string& file, int64 row0);

}  // namespace casefile::program

#endif
