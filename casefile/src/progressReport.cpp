#include "progressReport.h"

#include <utility>

#include "casefile/error.h"

namespace casefile {

ProgressReport::ProgressReport(ProgressCallback callback, std::string file, std::string operation)
    : callback_(std::move(callback)), file_(std::move(file)), operation_(std::move(operation)) {}

void ProgressReport::begin(Phase phase, std::int64_t bytesInAll) { progress_ = {0, bytesInAll, phase}; }

void ProgressReport::advance(std::int64_t bytes) {
  progress_.bytesDone += bytes;
  if (callback_ && callback_(progress_) == Next::stop) {
    throw Error(ErrorKind::cancelled, "the program stopped it", {file_, operation_, {}, {}, {}});
  }
}

}  // namespace casefile
