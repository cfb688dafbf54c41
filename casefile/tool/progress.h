#ifndef CASEFILE_PROGRAM_PROGRESS_H
#define CASEFILE_PROGRAM_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "Datasource/platform/types.h"
#include "casefile/progress.h"

namespace casefile::program {

/// What progress is shown on, and the clock beside it. Tests have one of their own.
class Display {
 public:
  using Clock = std::chrono::steady_clock;
  virtual ~Display() = default;
  virtual Clock::time_point now() const = 0;
  virtual bool isTerminal() const = 0;
  /// Returns: how many letters a line has room for at this moment; 0 when nothing limits it.
  virtual std::size_t columns() const = 0;
  /// Shows a text in place of the one before.
  virtual void show(const std::string& text) = 0;
  /// Lets what is shown stay.
  virtual void leave() = 0;

  /// Returns: standard error.
  static Display& standardError();
};

/// Shows on one line of standard error how far a command is: bytes and rate and, when the whole is known, how much
/// of it that is and the time left. Of work that takes less than half a second nothing is shown, unless the user asked
/// for progress.
///
/// Threads: one at a time.
class Progress {
 public:
  enum class When { terminal, always, never };
  /// Chooses for all later objects when they show something.
  static void show(When when) noexcept;

  /// `total` bytes are to be done; -1 when that is not known.
  explicit Progress(int64 total = -1, Display& display = Display::standardError());
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { leave(); }

  /// `bytes` more are done.
  void advance(int64 bytes);
  /// Is the callback of one of the library's calls, and shows each of its phases in which blocks are read or written.
  /// Returns: `stop` when a signal has asked the program to end.
  Next follow(const casefile::Progress& now);

 private:
  void beginAnew(Phase phase);
  void leave();
  void draw(Display::Clock::time_point now);
  std::string line(double seconds) const;

  Display& display_;
  const bool shown_;
  const bool askedFor_;
  int64 total_;
  int64 done_ = 0;
  std::optional<Phase> phase_;  // that the call is in
  int64 followed_ = 0;          // of the bytes done, those that the call told in this phase
  Display::Clock::time_point start_;
  Display::Clock::time_point nextDraw_;
  bool begun_ = false;
  bool drawn_ = false;
};

/// A progress callback that shows nothing. Returns: as Progress::follow.
Next onlyInterrupted(const casefile::Progress& now);

/// Returns: a count of bytes as people read it, such as "3.4 MB".
std::string readable(int64 bytes);

}  // namespace casefile::program

#endif
