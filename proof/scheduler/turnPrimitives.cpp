#include "scheduler/turnPrimitives.h"

#include <exception>

#include "scheduler/scheduler.h"
#include "scheduler/strand.h"

namespace proof {

TurnMutex::TurnMutex() {
  if (Scheduler* const scheduler = Scheduler::current()) {
    scheduler->made(this);
  }
}

TurnMutex::~TurnMutex() {
  if (Scheduler* const scheduler = Scheduler::current()) {
    if (owner_ != nullptr) {
      scheduler->fail("a mutex is destroyed that a thread holds");
    }
    scheduler->destroyed(this);
  }
}

void TurnMutex::lock() {
  Scheduler* const scheduler = Scheduler::current();
  if (scheduler == nullptr || !scheduler->usable(this)) {
    return;
  }
  Strand& self = *thisStrand;
  scheduler->reach();
  if (!scheduler->usable(this)) {
    return;
  }
  if (owner_ != nullptr) {
    self.state = Strand::State::wants;
    self.mutex = this;
    scheduler->reach();
    self.state = Strand::State::ready;
    self.mutex = nullptr;
  }
  owner_ = &self;
}

void TurnMutex::unlock() {
  Scheduler* const scheduler = Scheduler::current();
  if (scheduler == nullptr || !scheduler->usable(this)) {
    return;
  }
  if (owner_ != thisStrand) {
    scheduler->fail("a mutex is unlocked by a thread that does not hold it");
  }
  owner_ = nullptr;
  scheduler->reach();
}

// Whether the calling thread has it tells nobody else: only the first lock and the last unlock are points.
void lockRecursively(const void* object) {
  if (Scheduler* const scheduler = Scheduler::current()) {
    Scheduler::Recursive& held = scheduler->recursive(object);
    if (held.owner != thisStrand) {
      held.mutex->lock();
      held.owner = thisStrand;
    }
    ++held.depth;
  }
}

void unlockRecursively(const void* object) {
  if (Scheduler* const scheduler = Scheduler::current()) {
    Scheduler::Recursive& held = scheduler->recursive(object);
    if (--held.depth == 0) {
      held.owner = nullptr;
      held.mutex->unlock();
    }
  }
}

TurnCondition::TurnCondition() {
  if (Scheduler* const scheduler = Scheduler::current()) {
    scheduler->made(this);
  }
}

TurnCondition::~TurnCondition() {
  if (Scheduler* const scheduler = Scheduler::current()) {
    if (!waiting_.empty()) {
      scheduler->fail("a condition is destroyed that a thread waits for");
    }
    scheduler->destroyed(this);
  }
}

void TurnCondition::wait(std::unique_lock<TurnMutex>& lock) {
  Scheduler* const scheduler = Scheduler::current();
  if (scheduler == nullptr || !scheduler->usable(this)) {
    return;
  }
  Strand& self = *thisStrand;
  TurnMutex& mutex = *lock.mutex();
  scheduler->reach();
  if (mutex.owner_ != &self) {
    scheduler->fail("a thread waits without its mutex");
  }
  mutex.owner_ = nullptr;
  self.state = Strand::State::waits;
  self.mutex = &mutex;
  self.condition = this;
  waiting_.push_back(&self);
  scheduler->reach();
  self.state = Strand::State::ready;
  self.mutex = nullptr;
  mutex.owner_ = &self;
}

void TurnCondition::notify_one() {
  Scheduler* const scheduler = Scheduler::current();
  if (scheduler == nullptr) {
    return;
  }
  if (!scheduler->usable(this) || scheduler->noticeIsLost() || waiting_.empty()) {
    scheduler->reach();
    return;
  }
  const unsigned chosen = scheduler->choose(waiting_.size(), waiting_.size());
  waiting_[chosen]->state = Strand::State::wants;
  waiting_.erase(waiting_.begin() + chosen);
  scheduler->reach();
}

void TurnCondition::notify_all() {
  Scheduler* const scheduler = Scheduler::current();
  if (scheduler == nullptr) {
    return;
  }
  if (!scheduler->usable(this) || scheduler->noticeIsLost()) {
    scheduler->reach();
    return;
  }
  for (Strand* const strand : waiting_) {
    strand->state = Strand::State::wants;
  }
  waiting_.clear();
  scheduler->reach();
}

TurnThread::TurnThread(std::function<void()> body) : strand_(&Scheduler::current()->start(std::move(body))) {}

TurnThread::~TurnThread() {
  if (strand_ != nullptr) {
    std::terminate();
  }
}

void TurnThread::join() { Scheduler::current()->join(*std::exchange(strand_, nullptr)); }

TurnThread::Id TurnThread::calling() noexcept { return Id(thisStrand); }

}  // namespace proof
