#ifndef DATASOURCE_TESTS_DEADLINE_H
#define DATASOURCE_TESTS_DEADLINE_H

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace support {

/// How many times longer than usual everything may take: more than once where a processor is emulated. The tests'
/// limits in CMake grow by the same.
inline int patience() {
  const char* factor = std::getenv("DATASOURCE_TEST_PATIENCE");
  return factor == nullptr ? 1 : std::max(1, std::atoi(factor));
}

/// Ends the process with a message if it still lives when its time is over, so that a hang is a
/// failure that says where it hung. The time is long: it never decides a test that works.
class Deadline {
 public:
  /// `what` names the test; `state`, if given, is asked for more. It runs on the deadline's thread.
  explicit Deadline(std::string what, std::function<std::string()> state = nullptr,
                    std::chrono::seconds limit = std::chrono::seconds(120) * patience())
      : what_(std::move(what)), state_(std::move(state)), limit_(limit), thread_([this] { watch(); }) {}

  ~Deadline() {
    {
      const std::lock_guard lock(mutex_);
      over_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }

  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

 private:
  void watch() {
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, limit_, [this] { return over_; })) {
      return;
    }
    std::fprintf(stderr, "Deadline: %s still runs after %lld seconds\n", what_.c_str(),
                 static_cast<long long>(limit_.count()));
    if (state_) {
      std::fprintf(stderr, "%s\n", state_().c_str());
    }
    std::abort();
  }

  const std::string what_;
  const std::function<std::string()> state_;
  const std::chrono::seconds limit_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool over_ = false;
  std::thread thread_;  // last: it uses all the others
};

/// Runs `body` under a deadline.
template <typename Body>
void withDeadline(const std::string& what, Body&& body) {
  const Deadline deadline(what);
  body();
}

}  // namespace support

#endif
