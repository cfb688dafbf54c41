#ifndef CASEFILE_WRITINGSESSION_H
#define CASEFILE_WRITINGSESSION_H

#include <cstddef>
#include <exception>
#include <span>
#include <string>

#include "blockWriting.h"
#include "casefile/progress.h"
#include "progressReport.h"

namespace casefile {

/// The calls by which a program gives a Writer or an Appender case data: which may come when, and what an error ends.
///
/// Any error is final: what was done is undone at once, and later calls raise it again. A callback of the session's own
/// may call nothing, which would wait for the call that waits for the callback.
///
/// Threads: one at a time.
class WritingSession {
 public:
  WritingSession(const WritingSession&) = delete;
  WritingSession& operator=(const WritingSession&) = delete;

  void write(std::span<const std::byte> bytes);
  std::span<std::byte> room();
  void advance(std::size_t count);
  /// Undoes all, unless it is finished or a callback calls.
  void cancel() noexcept;

 protected:
  /// How a session calls itself in messages.
  struct Words {
    const char* operation;
    const char* finished;
    const char* cancelled;
    const char* nullPointer;
  };

  WritingSession(const std::string& name, const ProgressCallback& progress, const Words& words);
  virtual ~WritingSession() = default;

  /// Raises: Error (`usage`) while no case data may come yet.
  virtual void requireReady() const {}
  /// Begins the case data, unless that was done. Returns: what writes them.
  virtual BlockWriting& begun() = 0;
  /// Leaves what was there before the session.
  virtual void undo() noexcept = 0;

  [[noreturn]] void refuse(const std::string& what) const;
  void requireOutside() const;
  void requireOpen(std::span<const std::byte> bytes = {}) const;
  void end() noexcept { state_ = State::finished; }

  /// Does a step whose error ends the session.
  template <typename Work>
  void attempt(Work work) {
    room_ = 0;
    try {
      work();
    } catch (...) {
      error_ = std::current_exception();
      state_ = State::failed;
      undo();
      throw;
    }
  }

  const std::string& name() const noexcept { return name_; }
  ProgressReport& report() noexcept { return report_; }
  int64 given() const noexcept { return given_; }
  void countGiven(std::size_t bytes) noexcept { given_ += static_cast<int64>(bytes); }

 private:
  enum class State { open, finished, failed, cancelled };

  const std::string name_;
  const Words words_;
  ProgressReport report_;
  State state_ = State::open;
  std::exception_ptr error_;  // of the state `failed`
  int64 given_ = 0;           // bytes of case data
  std::size_t room_ = 0;      // what room() returned, if that was the last call
};

}  // namespace casefile

#endif
