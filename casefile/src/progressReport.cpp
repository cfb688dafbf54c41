#include "progressReport.h"

#include <utility>

#include "casefile/error.h"

namespace casefile {

ProgressReport::ProgressReport(ProgressCallback callback, std::string file, std::string operation)
    : callback_(std::move(callback)), file_(std::move(file)), operation_(std::move(operation)) {}

ProgressCallback ProgressReport::sharing(const ProgressCallback& callback) {
  return callback ? [&callback](const Progress& now) { return callback(now); } : ProgressCallback();
}

void ProgressReport::begin(Phase phase, std::int64_t bytesInAll) { progress_ = {0, bytesInAll, phase}; }

Next ProgressReport::tell() {
  // Also when the callback throws.
  struct Telling {
    explicit Telling(std::atomic<pipeline::ThreadId>& thread) : told(thread) { told = pipeline::thisThread(); }
    ~Telling() { told = pipeline::ThreadId(); }
    Telling(const Telling&) = delete;
    Telling& operator=(const Telling&) = delete;
    std::atomic<pipeline::ThreadId>& told;
  };
  const Telling telling(telling_);
  return callback_(progress_);
}

void ProgressReport::advance(std::int64_t bytes) {
  progress_.bytesDone += bytes;
  if (callback_ && tell() == Next::stop) {
    throw Error(ErrorKind::cancelled, "the program stopped it", {file_, operation_, {}, {}, {}});
  }
}

}  // namespace casefile
