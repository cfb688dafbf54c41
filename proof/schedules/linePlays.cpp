#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "orderedLine.h"
#include "schedules/plays.h"

namespace proof {
namespace {

using casefile::pipeline::OrderedWork;
using casefile::pipeline::runInOrder;

constexpr std::size_t kNone = 99;

// Which items cannot be made or delivered.
struct Refusals {
  std::size_t making = kNone;
  std::size_t delivering = kNone;
  std::size_t first() const { return std::min(making, delivering); }
};

struct Refused {
  std::size_t item;
  bool made;
};

// Notes what is done, and that no worker does two things at once.
class WatchedWork : public OrderedWork {
 public:
  WatchedWork(Refusals refusals, std::size_t workers) : refusals_(refusals), holds_(workers, kNone) {}

  void make(std::size_t item, std::size_t worker) override {
    require(worker < holds_.size() && !busy_.contains(worker), "two threads have the same number");
    require(made_.insert(item).second, "an item is made twice");
    holds_[worker] = item;
    busy_.insert(worker);
    turnPoint();
    busy_.erase(worker);
    if (item == refusals_.making) {
      throw Refused{item, false};
    }
  }

  void deliver(std::size_t item, std::size_t worker) override {
    require(!delivering_, "two items are delivered at a time");
    require(item == delivered_, "an item is delivered out of order");
    require(worker < holds_.size() && holds_[worker] == item, "an item is delivered by another worker");
    require(!over_, "an item is delivered behind the error");
    delivering_ = true;
    turnPoint();
    delivering_ = false;
    if (item == refusals_.delivering) {
      over_ = true;
      throw Refused{item, true};
    }
    ++delivered_;
  }

  std::size_t delivered() const { return delivered_; }
  const std::string& wrong() const { return wrong_; }

 private:
  void require(bool holds, const char* text) {
    if (!holds && wrong_.empty()) {
      wrong_ = text;
    }
  }

  const Refusals refusals_;
  std::vector<std::size_t> holds_;
  std::set<std::size_t> busy_;
  std::set<std::size_t> made_;
  std::size_t delivered_ = 0;
  bool delivering_ = false;
  bool over_ = false;
  std::string wrong_;
};

std::string runLine(std::size_t items, std::size_t threads, Refusals refusals) {
  WatchedWork work(refusals, threads);
  std::size_t told = kNone;
  try {
    runInOrder(work, items, threads);
  } catch (const Refused& refused) {
    told = refused.item;
    if (refused.made != (refusals.making != refused.item)) {
      return "another error is told";
    }
  }
  if (!work.wrong().empty()) {
    return work.wrong();
  }
  if (told != refusals.first()) {
    return told == kNone ? "an error was not told" : "a later item's error is told";
  }
  return work.delivered() == std::min(items, refusals.first()) ? "" : "an item is not delivered";
}

std::string worded(const Refusals& refusals) {
  return (refusals.making != kNone ? ", making " + std::to_string(refusals.making) + " fails" : "") +
         (refusals.delivering != kNone ? ", delivering " + std::to_string(refusals.delivering) + " fails" : "");
}

void addLine(std::vector<Play>& plays, std::size_t items, std::size_t threads, Refusals refusals,
             Disturbances disturbances, const std::string& more) {
  plays.push_back({std::to_string(items) + " items in order by " + std::to_string(threads) + worded(refusals) + more,
                   threads == 2 ? 3U : 2U, disturbances, [=] { return runLine(items, threads, refusals); }});
}

}  // namespace

void addLinePlays(std::vector<Play>& plays) {
  for (std::size_t items = 1; items <= 4; ++items) {
    for (std::size_t threads = 2; threads <= 3; ++threads) {
      addLine(plays, items, threads, {}, {}, "");
      addLine(plays, items, threads, {}, {0, 0, true}, ", spurious wake-ups");
      for (unsigned start = 1; start < std::min(items, threads); ++start) {
        addLine(plays, items, threads, {}, {start, 0, false}, ", start " + std::to_string(start) + " fails");
      }
      for (std::size_t item = 0; item < items; ++item) {
        addLine(plays, items, threads, {item, kNone}, {}, "");
        addLine(plays, items, threads, {kNone, item}, {}, "");
        for (std::size_t other = 0; other < items; ++other) {
          addLine(plays, items, threads, {item, other}, {}, "");
        }
      }
    }
  }
}

}  // namespace proof
