#include <cerrno>
#include <string>

#include "Datasource/platform/cRuntime.h"
#include "Datasource/platform/extNameStr.h"

int ExtNameStr::Sopen(int oflag, int shflag, int pmode) const {
  // A null inside would cut the name and open another file.
  if (generic_.find('\0') != std::string::npos) {
    errno = EINVAL;
    return -1;
  }
  return datasource::platform::cRuntime()._sopen(generic_.c_str(), oflag, shflag, pmode);
}
