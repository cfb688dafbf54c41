#include "scheduler/scheduler.h"

#include <sched.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "scheduler/strand.h"

namespace proof {
namespace {

constexpr std::size_t kMostSteps = 100000;

// What threads that wait for ever use. It is never destroyed, and named, so that nobody takes it for a leak.
std::vector<std::shared_ptr<void>>& keptForEver() {
  static auto* const kept = std::make_unique<std::vector<std::shared_ptr<void>>>().release();
  return *kept;
}

std::string attempt(const std::function<std::string()>& body) {
  try {
    return body();
  } catch (const std::exception& error) {
    return std::string("raises ") + error.what();
  } catch (...) {
    return "raises what is no exception";
  }
}

}  // namespace

thread_local constinit Strand* thisStrand = nullptr;

Scheduler* Scheduler::current() noexcept { return thisStrand != nullptr ? thisStrand->scheduler : nullptr; }

// On one processor a turn passes twice as fast.
Scheduler::Scheduler() : control_(std::make_unique<Turn>()) {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(static_cast<std::size_t>(std::max(0, sched_getcpu())), &one);
  sched_setaffinity(0, sizeof one, &one);
}

Scheduler::~Scheduler() {
  for (const auto& strand : strands_) {
    strand->dismissed = true;
    strand->turn.give();
    strand->thread.join();
  }
}

ScheduleResult Scheduler::run(const std::function<std::string()>& body, const std::vector<unsigned>& choices,
                              const Disturbances& disturbances) {
  used_ = 0;
  steps_ = 0;
  stuck_ = false;
  alive_ = 0;
  dead_.clear();
  choices_ = &choices;
  disturbances_ = disturbances;
  result_ = {};
  std::string told;
  begin([&] { told = attempt(body); }).turn.give();
  control_->await();
  if (stuck_) {
    abandon();
    return std::move(result_);
  }
  if (!told.empty()) {
    fail(told);
  }
  forgetRecursive();
  if (alive_ != 0) {
    fail("a mutex or a condition is left");
  }
  return std::move(result_);
}

// Those that wait for ever keep what they use.
void Scheduler::abandon() {
  for (auto& strand : strands_) {
    strand->thread.detach();
    keptForEver().emplace_back(std::move(strand));
  }
  strands_.clear();
  recursive_.clear();
  // The one that gave the last turn may not be quite out of it.
  keptForEver().emplace_back(std::move(control_));
  control_ = std::make_unique<Turn>();
}

// A strand for the run, on a real thread that has served before if there is one.
Strand& Scheduler::begin(std::function<void()> body) {
  if (used_ == strands_.size()) {
    strands_.push_back(std::make_unique<Strand>());
    Strand* const fresh = strands_.back().get();
    fresh->scheduler = this;
    fresh->number = used_;
    fresh->thread = std::thread([fresh] {
      thisStrand = fresh;
      for (fresh->turn.await(); !fresh->dismissed; fresh->turn.await()) {
        fresh->body();
        fresh->body = nullptr;
        fresh->scheduler->leave(*fresh);
      }
    });
  }
  Strand& strand = *strands_[used_++];
  strand.body = std::move(body);
  strand.state = Strand::State::ready;
  return strand;
}

Strand& Scheduler::start(std::function<void()> body) {
  if (++result_.starts == disturbances_.failingStart) {
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again), "no thread");
  }
  Strand& strand = begin(std::move(body));
  reach();
  return strand;
}

void Scheduler::join(Strand& other) {
  Strand& self = *thisStrand;
  self.state = Strand::State::joins;
  self.joined = &other;
  reach();
  self.state = Strand::State::ready;
}

namespace {

bool goesOn(const Strand& strand, bool mutexIsFree) {
  switch (strand.state) {
    case Strand::State::ready:
      return true;
    case Strand::State::wants:
      return mutexIsFree;
    case Strand::State::joins:
      return strand.joined->state == Strand::State::over;
    default:
      return false;
  }
}

}  // namespace

// Who goes on: one that was chosen of all that can. Null: nobody can.
Strand* Scheduler::next(const Strand& self) {
  const auto mutexIsFree = [](const Strand& strand) {
    return strand.mutex == nullptr || strand.mutex->owner_ == nullptr;
  };
  candidates_.clear();
  const bool selfGoesOn = goesOn(self, mutexIsFree(self));
  if (selfGoesOn) {
    candidates_.push_back(strands_[self.number].get());
  }
  for (std::size_t i = 0; i < used_; ++i) {
    Strand& other = *strands_[i];
    if (&other != &self && goesOn(other, mutexIsFree(other))) {
      candidates_.push_back(&other);
    }
  }
  if (candidates_.empty()) {
    return nullptr;
  }
  const std::size_t free = selfGoesOn ? 1 : candidates_.size();
  for (std::size_t i = 0; i < used_ && disturbances_.spuriousWakeups; ++i) {
    Strand& other = *strands_[i];
    if (other.state == Strand::State::waits && &other != &self && mutexIsFree(other)) {
      candidates_.push_back(&other);
    }
  }
  return candidates_[choose(free, candidates_.size())];
}

// The calling thread can be made to wait here. Its state says whether it can go on itself.
void Scheduler::reach() {
  Strand& self = *thisStrand;
  if (++steps_ > kMostSteps) {
    end("does not come to an end");
  }
  Strand* const chosen = next(self);
  if (chosen == nullptr) {
    end("all threads wait: " + whoWaits());
  }
  if (chosen->state == Strand::State::waits) {
    std::erase(chosen->condition->waiting_, chosen);
  }
  if (chosen != &self) {
    chosen->turn.give();
    self.turn.await();
  }
}

// The last act of a strand in a run: whoever gets the turn may start the next run.
void Scheduler::leave(Strand& self) {
  self.state = Strand::State::over;
  const auto isOver = [](const auto& strand) { return strand->state == Strand::State::over; };
  const auto end = strands_.begin() + static_cast<std::ptrdiff_t>(used_);
  if (self.number == 0) {
    if (!std::all_of(strands_.begin(), end, isOver)) {
      fail("a thread is left");
      stuck_ = true;
    }
    control_->give();
    return;
  }
  Strand* const chosen = next(self);
  if (chosen == nullptr) {
    fail("all threads wait: " + whoWaits());
    stuck_ = true;
    control_->give();
    return;
  }
  if (chosen->state == Strand::State::waits) {
    std::erase(chosen->condition->waiting_, chosen);
  }
  chosen->turn.give();
}

// Ends the run where it stands; the calling thread never goes on.
void Scheduler::end(const std::string& why) {
  fail(why);
  stuck_ = true;
  Strand& self = *thisStrand;
  control_->give();
  for (;;) {
    self.turn.await();
  }
}

unsigned Scheduler::choose(std::size_t free, std::size_t all) {
  if (all == 1) {
    return 0;
  }
  const std::size_t at = result_.decisions.size();
  unsigned chosen = at < choices_->size() ? (*choices_)[at] : 0;
  if (chosen >= all) {
    fail("the same choices led elsewhere");
    chosen = 0;
  }
  result_.decisions.push_back({chosen, static_cast<unsigned>(free), static_cast<unsigned>(all)});
  return chosen;
}

void Scheduler::fail(const std::string& what) {
  if (result_.wrong.empty()) {
    result_.wrong = what;
  }
}

std::string Scheduler::whoWaits() const {
  std::string text;
  for (std::size_t i = 0; i < used_; ++i) {
    const Strand& strand = *strands_[i];
    if (strand.state != Strand::State::over) {
      text += (text.empty() ? "thread " : ", thread ") + std::to_string(i);
      text += strand.state == Strand::State::waits   ? " for a condition"
              : strand.state == Strand::State::wants ? " for a mutex"
                                                     : " for thread " + std::to_string(strand.joined->number);
    }
  }
  return text;
}

Scheduler::Recursive& Scheduler::recursive(const void* object) {
  Recursive& found = recursive_[object];
  if (found.mutex == nullptr) {
    found.mutex = std::make_unique<TurnMutex>();
  }
  return found;
}

// One that is still held was left locked.
void Scheduler::forgetRecursive() {
  for (const auto& [object, held] : recursive_) {
    --alive_;
    if (held.depth != 0) {
      fail("a mutex is left locked");
    }
  }
  recursive_.clear();
}

bool Scheduler::noticeIsLost() { return ++result_.notices == disturbances_.lostNotice; }

void Scheduler::made(const void* primitive) {
  dead_.erase(primitive);
  ++alive_;
}

void Scheduler::destroyed(const void* primitive) {
  for (std::size_t i = 0; i < used_; ++i) {
    if (strands_[i]->state != Strand::State::over && strands_[i]->mutex == primitive) {
      end("a mutex is destroyed that a thread wants");
    }
  }
  dead_.insert(primitive);
  --alive_;
}

bool Scheduler::usable(const void* primitive) {
  if (!dead_.contains(primitive)) {
    return true;
  }
  fail("a mutex or a condition is used that is gone");
  return false;
}

void turnPoint() {
  if (Scheduler* const scheduler = Scheduler::current()) {
    scheduler->reach();
  }
}

}  // namespace proof
