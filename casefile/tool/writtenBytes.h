#ifndef CASEFILE_WRITTENBYTES_H
#define CASEFILE_WRITTENBYTES_H

#include <functional>
#include <utility>

#include "Datasource/platform/types.h"
#include "casefile/progress.h"
#include "failure.h"

namespace casefile::program {

/// A progress callback that hands on how many bytes more are written, and raises Interrupted when a signal has asked
/// the program to end.
class WrittenBytes {
 public:
  explicit WrittenBytes(std::function<void(int64)> use) : use_(std::move(use)) {}

  Next operator()(const casefile::Progress& now) {
    throwIfInterrupted();
    if (now.phase == Phase::writing && now.bytesDone > done_) {
      use_(now.bytesDone - done_);
      done_ = now.bytesDone;
    }
    return Next::proceed;
  }

 private:
  std::function<void(int64)> use_;
  int64 done_ = 0;
};

}  // namespace casefile::program

#endif
