#ifndef DATASOURCE_TESTS_ERRORS_H
#define DATASOURCE_TESTS_ERRORS_H

#include <exception>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "Datasource/platform/throwError.h"

namespace support {

/// The two numbers of a raised file error; both 0 for "nothing was raised".
struct Raised {
  int number = 0;
  int systemError = 0;

  friend bool operator==(const Raised&, const Raised&) = default;
};

inline constexpr Raised nothing{};

inline std::ostream& operator<<(std::ostream& out, const Raised& raised) {
  if (raised == nothing) {
    return out << "nothing raised";
  }
  return out << "raised " << raised.number << " with errno " << raised.systemError;
}

/// Runs `body`. Returns: the file error that it raised. Other exceptions pass.
template <typename Body>
Raised raisedBy(Body&& body) {
  try {
    body();
  } catch (const StringSysError& error) {
    return {error.number(), error.systemError()};
  }
  return nothing;
}

/// Notes, for as long as it lives, the errors that nobody could be given. One at a time.
class LostErrorRecorder {
 public:
  struct Lost {
    std::string where;
    Raised error;
  };

  LostErrorRecorder() : handlerBefore_(datasource::platform::setLostErrorHandler(receive)) { current() = this; }
  ~LostErrorRecorder() { datasource::platform::setLostErrorHandler(handlerBefore_); }
  LostErrorRecorder(const LostErrorRecorder&) = delete;
  LostErrorRecorder& operator=(const LostErrorRecorder&) = delete;

  /// The errors since the last `take`, which are forgotten by it.
  std::vector<Lost> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lost_, {});
  }

 private:
  static LostErrorRecorder*& current() {
    static LostErrorRecorder* recorder = nullptr;
    return recorder;
  }

  static void receive(const char* where, const std::exception_ptr& error) {
    Lost lost{where, {}};
    try {
      lost.error = raisedBy([&error] { std::rethrow_exception(error); });
    } catch (...) {
      lost.error = {-1, 0};  // something else
    }
    const std::lock_guard lock(current()->mutex_);
    current()->lost_.push_back(lost);
  }

  const datasource::platform::LostErrorHandler handlerBefore_;
  std::mutex mutex_;
  std::vector<Lost> lost_;
};

}  // namespace support

#endif
