#include "Datasource/platform/uncaughtExceptions.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <mutex>

namespace datasource::platform {
namespace {

constexpr std::size_t kMostCounters = 256;

/// The counters in the order in which they came; a counter stands as often as it was added. Never
/// destroyed: streams may be, later than any static object.
struct Registry {
  std::mutex mutex;
  std::array<ExceptionCounter, kMostCounters> counters{};
  std::size_t count = 0;

  auto begin() { return counters.begin(); }
  auto end() { return counters.begin() + static_cast<std::ptrdiff_t>(count); }
};

Registry& registry() {
  static Registry& one = *new Registry;
  return one;
}

}  // namespace

int uncaughtExceptions() noexcept {
  Registry& known = registry();
  const std::lock_guard lock(known.mutex);
  int sum = 0;
  for (auto counter = known.begin(); counter != known.end(); ++counter) {
    if (std::find(known.begin(), counter, *counter) == counter) {
      sum += (*counter)();
    }
  }
  return sum;
}

void addExceptionCounter(ExceptionCounter counter) noexcept {
  Registry& known = registry();
  const std::lock_guard lock(known.mutex);
  if (counter != nullptr && known.count < kMostCounters) {
    known.counters[known.count] = counter;
    ++known.count;
  }
}

void removeExceptionCounter(ExceptionCounter counter) noexcept {
  Registry& known = registry();
  const std::lock_guard lock(known.mutex);
  const auto found = std::find(known.begin(), known.end(), counter);
  if (found != known.end()) {
    std::copy(found + 1, known.end(), found);
    --known.count;
  }
}

}  // namespace datasource::platform
