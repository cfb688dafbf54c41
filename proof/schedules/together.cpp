#include <vector>

#include "scheduler/turnPrimitives.h"
#include "schedules/plays.h"

namespace proof {

void together(const std::vector<std::function<void()>>& parts) {
  std::vector<TurnThread> threads;
  for (std::size_t i = 1; i < parts.size(); ++i) {
    threads.emplace_back(parts[i]);
  }
  parts.front()();
  for (TurnThread& thread : threads) {
    thread.join();
  }
}

}  // namespace proof
