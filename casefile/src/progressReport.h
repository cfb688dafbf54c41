#ifndef CASEFILE_PROGRESSREPORT_H
#define CASEFILE_PROGRESSREPORT_H

#include <cstdint>
#include <string>

#include "casefile/progress.h"

namespace casefile {

/// Adds up what a call has done and tells the program's callback, if there is one.
///
/// Threads: one at a time.
class ProgressReport {
 public:
  /// `operation` and `file` stand in the Error of a call that was stopped.
  ProgressReport(ProgressCallback callback, std::string file, std::string operation);

  void begin(Phase phase, std::int64_t bytesInAll);
  /// Raises: Error (`cancelled`) when the callback says stop; what it raises.
  void advance(std::int64_t bytes);

 private:
  ProgressCallback callback_;
  std::string file_;
  std::string operation_;
  Progress progress_;
};

}  // namespace casefile

#endif
