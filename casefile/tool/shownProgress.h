#ifndef CASEFILE_PROGRAM_SHOWNPROGRESS_H
#define CASEFILE_PROGRAM_SHOWNPROGRESS_H

#include <optional>

#include "Datasource/platform/types.h"
#include "casefile/progress.h"
#include "failure.h"
#include "progress.h"

namespace casefile::program {

/// A progress callback that shows each phase of a call in which blocks are read or written, and raises Interrupted
/// when a signal has asked the program to end.
class ShownProgress {
 public:
  /// Returns: the callback. Requires: the object outlives it.
  ProgressCallback callback() {
    return [this](const casefile::Progress& now) { return tell(now); };
  }

 private:
  Next tell(const casefile::Progress& now) {
    throwIfInterrupted();
    if (now.phase != Phase::reading && now.phase != Phase::writing) {
      return Next::proceed;
    }
    if (!shown_ || phase_ != now.phase || now.bytesDone < done_) {
      shown_.emplace(now.bytesInAll);
      phase_ = now.phase;
      done_ = 0;
    }
    shown_->advance(now.bytesDone - done_);
    done_ = now.bytesDone;
    return Next::proceed;
  }

  std::optional<Progress> shown_;
  Phase phase_ = Phase::searching;
  int64 done_ = 0;
};

}  // namespace casefile::program

#endif
