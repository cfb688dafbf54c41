#ifndef CASEFILE_PROGRESS_H
#define CASEFILE_PROGRESS_H

#include <cstdint>
#include <functional>

namespace casefile {

/// What a long call is doing.
enum class Phase {
  searching,  ///< going through the file for its case data
  reading,    ///< reading and inflating blocks
  writing,    ///< compressing and writing blocks
  finishing   ///< making the file appear under its name
};

/// How far a long call has come.
struct Progress {
  std::int64_t bytesDone = 0;    ///< so far
  std::int64_t bytesInAll = 0;   ///< 0: not known
  Phase phase = Phase::reading;  ///< what the call is doing
};

/// A progress callback's answer.
enum class Next {
  proceed,
  stop  ///< the call ends with an Error of kind `cancelled`, and nothing is left behind
};

/// Is told how far a call has come, at least once a block. What it throws ends the call and passes through.
///
/// Requires: it does not destroy the object that calls it. What it asks of the Writer or Appender that calls it, whose
///   own call has not returned, is an Error (`usage`); their cancel() does nothing then. A Reader may be called.
/// Threads: one at a time, not always the same one.
using ProgressCallback = std::function<Next(const Progress&)>;

}  // namespace casefile

#endif
