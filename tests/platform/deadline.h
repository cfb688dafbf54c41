#ifndef DATASOURCE_TESTS_PLATFORM_DEADLINE_H
#define DATASOURCE_TESTS_PLATFORM_DEADLINE_H

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace platformtest {

/// Ends the program with a message when the scope that holds it does not end in time: a hang must
/// not hang the test run. The limit is far from what any machine needs.
class Deadline {
 public:
  explicit Deadline(const char* what) : what_(what), watchdog_([this] { watch(); }) {}
  ~Deadline() {
    {
      const std::lock_guard lock(mutex_);
      over_ = true;
    }
    changed_.notify_all();
    watchdog_.join();
  }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

 private:
  void watch() {
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, std::chrono::seconds(120), [this] { return over_; })) {
      return;
    }
    std::fprintf(stderr, "Deadline passed: %s\n", what_);
    std::abort();
  }

  const char* what_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool over_ = false;
  std::thread watchdog_;
};

}  // namespace platformtest

#endif
