#ifndef CASEFILE_PROGRESSREPORT_H
#define CASEFILE_PROGRESSREPORT_H

#include <atomic>
#include <cstdint>
#include <string>

#include "casefile/progress.h"
#include "threadPrimitives.h"

namespace casefile {

/// Adds up what a call has done and tells the program's callback, if there is one.
///
/// Threads: one at a time, but for isTelling().
class ProgressReport {
 public:
  /// Returns: a callback that calls `callback` itself, which outlives it, and not a copy, which would have a state of
  /// its
  ///   own; none, where there is none.
  static ProgressCallback sharing(const ProgressCallback& callback);

  /// `operation` and `file` stand in the Error of a call that was stopped.
  ProgressReport(ProgressCallback callback, std::string file, std::string operation);

  void begin(Phase phase, std::int64_t bytesInAll);
  /// Raises: Error (`cancelled`) when the callback says stop; what it raises.
  void advance(std::int64_t bytes);

  /// Returns: whether the calling thread is in the callback, which must not wait for the call that it is told of.
  /// Threads: any.
  bool isTelling() const noexcept { return telling_ == pipeline::thisThread(); }

 private:
  Next tell();

  ProgressCallback callback_;
  std::string file_;
  std::string operation_;
  Progress progress_;
  std::atomic<pipeline::ThreadId> telling_ = pipeline::ThreadId();  // none: no callback is running
};

}  // namespace casefile

#endif
