#ifndef DATASOURCE_TESTS_ASSERTIONRECORDER_H
#define DATASOURCE_TESTS_ASSERTIONRECORDER_H

#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "Datasource/platform/assertion.h"

namespace support {

/// One assertion report, narrowed.
struct Report {
  std::string expression;
  std::string file;
  unsigned int line = 0;
};

inline std::ostream& operator<<(std::ostream& out, const Report& report) {
  return out << report.expression << " (" << report.file << ':' << report.line << ')';
}

/// What the recorder throws when it is told to.
struct AssertionThrown {
  Report report;
};

/// Receives assertions for as long as it lives: notes each, then returns (the program goes on) or
/// throws AssertionThrown. Recorders may nest; the innermost receives.
///
/// Threads: any.
class AssertionRecorder {
 public:
  enum class Then { goOn, raise };

  explicit AssertionRecorder(Then then = Then::goOn)
      : then_(then), outer_(current()), handlerBefore_(datasource::platform::setAssertionHandler(receive)) {
    current() = this;
  }
  ~AssertionRecorder() {
    current() = outer_;
    datasource::platform::setAssertionHandler(handlerBefore_);
  }
  AssertionRecorder(const AssertionRecorder&) = delete;
  AssertionRecorder& operator=(const AssertionRecorder&) = delete;

  /// The reports since the last `take`, which are forgotten by it.
  std::vector<Report> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(reports_, {});
  }
  /// The expressions of the reports since the last `take`.
  std::vector<std::string> takeTexts() {
    std::vector<std::string> texts;
    for (const Report& report : take()) {
      texts.push_back(report.expression);
    }
    return texts;
  }

 private:
  static AssertionRecorder*& current() {
    static AssertionRecorder* recorder = nullptr;
    return recorder;
  }

  static std::string narrow(const wchar_t* text) {
    std::string result;
    for (; *text != L'\0'; ++text) {
      result += *text < 128 ? static_cast<char>(*text) : '?';
    }
    return result;
  }

  static void receive(const wchar_t* expression, const wchar_t* file, unsigned int line) {
    AssertionRecorder& self = *current();
    const Report report{narrow(expression), narrow(file), line};
    {
      const std::lock_guard lock(self.mutex_);
      self.reports_.push_back(report);
    }
    if (self.then_ == Then::raise) {
      throw AssertionThrown{report};
    }
  }

  const Then then_;
  AssertionRecorder* const outer_;
  const datasource::platform::AssertionHandler handlerBefore_;
  std::mutex mutex_;
  std::vector<Report> reports_;
};

}  // namespace support

#endif
