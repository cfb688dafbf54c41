#ifndef CASEFILE_PROGRAM_PROGRESS_H
#define CASEFILE_PROGRAM_PROGRESS_H

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>

#include "Datasource/platform/types.h"

namespace casefile::program {

/// Shows on one line of standard error how far a command is: bytes, rate and, when the whole is known,
/// the time left.
///
/// Threads: advance may be called from any thread.
class Progress {
 public:
  enum class When { terminal, always, never };
  /// Chooses for all later objects when they show something.
  static void show(When when) noexcept;

  /// `total` bytes are to be done; -1 when that is not known.
  explicit Progress(int64 total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  /// `bytes` more are done. Raises: Interrupted when a signal has asked the program to end.
  void advance(int64 bytes);

 private:
  using Clock = std::chrono::steady_clock;
  void draw(Clock::time_point now);
  std::string line(double seconds) const;

  bool shown_;
  int64 total_;
  std::atomic<int64> done_ = 0;
  Clock::time_point start_;
  std::mutex drawing_;
  Clock::time_point nextDraw_;
};

/// Returns: a count of bytes as people read it, such as "3.4 MB".
std::string readable(int64 bytes);

}  // namespace casefile::program

#endif
