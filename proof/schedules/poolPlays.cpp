#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "Datasource/platform/threads.h"
#include "schedules/plays.h"
#include "semaphoreCore.h"

namespace proof {
namespace {

// What one of a pool's callbacks did.
struct Report {
  int begun = 0;
  int ended = 0;
  int cancelled = 0;
};

// A callback that waits for a semaphore.
class WaitingTask : public CallBackObject {
 public:
  WaitingTask(const sfSemaphore& wanted, Report& report) : CallBackObject(nullptr), wanted_(wanted), report_(report) {}
  int callBack(void* /*prtData*/) override {
    ++report_.begun;
    try {
      wanted_.waitSemaphore();
    } catch (const sfWaitCancelled&) {
      ++report_.cancelled;
      throw;
    }
    ++report_.ended;
    return 0;
  }

 private:
  sfSemaphore wanted_;
  Report& report_;
};

struct PoolUse {
  int threads = 1;
  int tasks = 1;
  int posts = 1;
  int rounds = 1;      // started and stopped so often
  bool stops = false;  // as soon as the tasks were handed over; otherwise the destructor stops it
};

std::string judge(const PoolUse& use, const std::vector<Report>& reports) {
  int ended = 0;
  for (const Report& report : reports) {
    if (report.begun > 1) {
      return "a callback ran twice";
    }
    if (report.begun != report.ended + report.cancelled) {
      return "a callback still runs behind the stop";
    }
    ended += report.ended;
  }
  return ended <= use.posts * use.rounds ? "" : "more counts were taken than there were";
}

std::string runPool(const PoolUse& use) {
  std::vector<Report> reports(static_cast<std::size_t>(use.tasks * use.rounds));
  sfSemaphore wanted(0);
  {
    sfThreadPool pool(use.threads, 0);
    std::size_t next = 0;
    for (int round = 0; round < use.rounds; ++round) {
      pool.init();
      try {
        pool.startAll();
      } catch (const std::system_error&) {
        return "";  // none runs then: whoever is left is told of by the scheduler
      }
      for (int i = 0; i < use.tasks; ++i) {
        pool.submit(new WaitingTask(wanted, reports[next++]), nullptr, 1);
      }
      for (int i = 0; i < use.posts; ++i) {
        wanted.postSemaphore();
      }
      if (use.stops || round + 1 < use.rounds) {
        pool.stopAll();
      }
    }
  }
  return judge(use, reports);
}

void addPool(std::vector<Play>& plays, const PoolUse& use, Disturbances disturbances, const std::string& more) {
  plays.push_back({"pool of " + std::to_string(use.threads) + ", " + std::to_string(use.tasks) + " tasks, " +
                       std::to_string(use.posts) + " posts, " + std::to_string(use.rounds) + " rounds" +
                       (use.stops ? ", stopped" : ", destroyed") + more,
                   use.threads == 1 && use.rounds == 1 ? 3U : 2U, disturbances, [=] { return runPool(use); }});
}

// Whoever got the count may free the semaphore at once.
std::string freeBehindTheCount() {
  auto semaphore = std::make_unique<sfSemaphore>(0);
  sfSemaphore* const shared = semaphore.get();
  together({[&] {
              datasource::platform::setCurrentPoolThread(nullptr);
              semaphore->waitSemaphore();
              semaphore.reset();
            },
            [shared] { shared->postSemaphore(); }});
  return "";
}

// As many counts as there are takers, some of them there at first.
std::string shareCounts(unsigned atFirst, std::size_t takers, std::size_t posters) {
  sfSemaphore semaphore(atFirst);
  int taken = 0;
  std::vector<std::function<void()>> parts;
  for (std::size_t i = 0; i < takers; ++i) {
    parts.emplace_back([&] {
      datasource::platform::setCurrentPoolThread(nullptr);
      semaphore.waitSemaphore();
      ++taken;
    });
  }
  for (std::size_t i = 0; i < posters; ++i) {
    parts.emplace_back([&] { semaphore.postSemaphore(); });
  }
  together(parts);
  return taken == static_cast<int>(takers) ? "" : "a count was lost";
}

}  // namespace

void addPoolPlays(std::vector<Play>& plays) {
  for (const bool spurious : {false, true}) {
    const std::string more = spurious ? ", spurious wake-ups" : "";
    const Disturbances disturbances{0, 0, spurious};
    plays.push_back({"a semaphore freed behind its count" + more, 3, disturbances, freeBehindTheCount});
    plays.push_back({"a semaphore, two take, two post" + more, 2, disturbances, [] { return shareCounts(0, 2, 2); }});
    plays.push_back({"a semaphore, two take, one posts" + more, 3, disturbances, [] { return shareCounts(1, 2, 1); }});
    for (const int threads : {1, 2}) {
      for (const int tasks : {0, 1, 2}) {
        for (const int posts : {0, 1, 2}) {
          for (const bool stops : {false, true}) {
            addPool(plays, {threads, tasks, posts, 1, stops}, disturbances, more);
          }
        }
      }
    }
    addPool(plays, {1, 1, 1, 2, false}, disturbances, more);
  }
  for (const unsigned start : {1U, 2U}) {
    addPool(plays, {2, 1, 1, 1, false}, {start, 0, false}, ", start " + std::to_string(start) + " fails");
  }
}

}  // namespace proof
