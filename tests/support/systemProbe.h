#ifndef DATASOURCE_TESTS_SYSTEMPROBE_H
#define DATASOURCE_TESTS_SYSTEMPROBE_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace support {

/// Stands in both tables of file calls, the streams' and the seam's, for as long as it lives: names every call,
/// lets calls fail, and does something in front of a call, as somebody else on the machine might.
///
/// Names are those of the tables' members ("rename", "_write"). A close that fails frees its descriptor.
///
/// Requires: one at a time. Threads: any.
class SystemProbe {
 public:
  SystemProbe();
  ~SystemProbe();
  SystemProbe(const SystemProbe&) = delete;
  SystemProbe& operator=(const SystemProbe&) = delete;

  /// The calls since the probe was made or cleared.
  std::vector<std::string> calls() const;
  int count(const std::string& call) const;
  void clear();
  int failuresMade() const;
  /// Descriptors opened and not closed again.
  int openDescriptors() const;

  // What is to happen; numbers count from 1, from the next call on.

  void failCall(int number, int error);
  void failFrom(int number, int error);
  /// Every call of that name fails.
  void failEvery(const std::string& call, int error);
  /// The `number`th call of that name fails.
  void failNth(const std::string& call, int number, int error);
  /// The `number`th transfer of bytes is interrupted by a signal before it has begun: -1, EINTR.
  void interruptTransfer(int number);
  /// The `number`th transfer of bytes that could do so moves half of what it was asked to; counts as a failure.
  void shortenTransfer(int number);
  /// Nothing fails any more, nothing is done.
  void failNone();
  /// Does something in front of the next call of that name, whose calls are not counted.
  void before(const std::string& call, std::function<void()> action);

 private:
  struct State;
  friend struct SystemProbeTables;
  std::unique_ptr<State> state_;
};

}  // namespace support

#endif
