#include "fastLoops.h"

namespace datasource::form::inflating {

FastLoopCall fastestLoop() noexcept { return kMachineFits ? portableLoop : nullptr; }

}  // namespace datasource::form::inflating
