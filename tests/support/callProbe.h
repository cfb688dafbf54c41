#ifndef DATASOURCE_TESTS_CALLPROBE_H
#define DATASOURCE_TESTS_CALLPROBE_H

#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "Datasource/platform/cRuntime.h"
#include "Datasource/platform/types.h"

namespace support {

enum class CallKind { open, seek, read, write, close, identity };

/// One call of the low-level table.
struct Call {
  CallKind kind = CallKind::open;
  int number = 0;         ///< 1 for the first call since the probe was made or cleared
  int descriptor = -1;    ///< of an open: its result
  int64 position = -1;    ///< read, write: where the descriptor stood; seek: the offset asked for
  int share = 0;          ///< open: the share flag
  int permission = 0;     ///< open: the permission
  int64 length = 0;       ///< read, write: bytes asked for; seek: the origin; open: the flags
  int64 result = 0;       ///< what the caller was given
  int error = 0;          ///< errno of a failed call
  bool ownThread = true;  ///< made by the thread that made the probe
  bool stray = false;     ///< on a descriptor that is not open
};

/// The call as text: "open 0x8010", "seek 512", "seek end", "seek current 0", "read 100 @512",
/// "write 10 @0", "close", "identity"; " = N" behind a transfer that moved another count, " failed" behind a
/// failure.
std::string toString(const Call& call);
std::ostream& operator<<(std::ostream& out, const Call& call);

/// Stands in the low-level table for as long as it lives: lists every call with the true position of
/// the descriptor, lets calls fail, makes transfers short, holds calls until a test lets them go.
///
/// Requires: one at a time; no worker thread lives while one is made or destroyed.
/// Threads: any.
class CallProbe {
 public:
  CallProbe();
  ~CallProbe();
  CallProbe(const CallProbe&) = delete;
  CallProbe& operator=(const CallProbe&) = delete;

  // What was seen.

  std::vector<Call> calls() const;
  /// The calls as text, all or those of one side of the threads.
  std::vector<std::string> list() const;
  std::vector<std::string> ownList() const;
  std::vector<std::string> otherList() const;
  /// `list`, and forgets what was seen until now (the numbers start at 1 again).
  std::vector<std::string> takeList();
  void clear();
  int count() const;
  int count(CallKind kind) const;
  /// Descriptors opened and not closed again.
  int openDescriptors() const;
  /// Calls on a descriptor that was not open at that time.
  int strayCalls() const;
  /// Calls that were made to fail.
  int failuresMade() const;

  // What is to happen. Numbers count from the next call on, all threads together.

  /// Call `number` fails with errno `error`; a close frees its descriptor all the same.
  void failCall(int number, int error);
  /// Call `number` and every later one fail.
  void failFrom(int number, int error);
  /// The `number`th call of this kind fails.
  void failNth(CallKind kind, int number, int error);
  void failEvery(CallKind kind, int error);
  /// Calls for which `decide` gives an errno other than 0 fail with it.
  void failIf(std::function<int(const Call&)> decide);
  /// Nothing fails any more.
  void failNone();
  /// Files opened from now on may be changed by others while they are open, also where the system refuses that.
  void letOthersWrite();
  /// The next `times` calls of this kind move at most `limit` bytes each.
  void shorten(CallKind kind, unsigned int limit, int times = 1);

  /// Calls for which `matches` says so wait at a gate before they reach the system.
  void holdIf(std::function<bool(const Call&)> matches);
  /// Calls of this kind from threads other than the probe's maker wait at the gate.
  void holdOtherThreads(CallKind kind);
  /// Waits until a call stands at the gate. Ends the process when none comes for a minute.
  void waitUntilHeld();
  /// Waits until `count` calls of this kind from other threads have been made and have returned.
  void waitForOthers(CallKind kind, int count);
  /// Opens the gate for good.
  void release();

 private:
  struct State;
  friend struct ProbeTable;
  std::unique_ptr<State> state_;
};

}  // namespace support

#endif
