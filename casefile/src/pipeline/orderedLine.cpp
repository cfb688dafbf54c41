#include "orderedLine.h"

#include <algorithm>
#include <utility>

#include "threadGroup.h"

namespace casefile::pipeline {

OrderedLine::OrderedLine(OrderedWork& work, std::size_t workers) : work_(work), turns_(workers) {}

void OrderedLine::offer(std::size_t count) {
  {
    const Lock lock(mutex_);
    offered_ += count;
  }
  offer_.notify_all();
}

void OrderedLine::close() {
  {
    const Lock lock(mutex_);
    closed_ = true;
  }
  offer_.notify_all();
}

void OrderedLine::abandon() {
  {
    const Lock lock(mutex_);
    ended_ = true;
  }
  offer_.notify_all();
  delivery_.notify_all();
  for (Condition& turn : turns_) {
    turn.notify_all();
  }
}

std::optional<std::size_t> OrderedLine::take() {
  Lock lock(mutex_);
  offer_.wait(lock, [this] { return taken_ < offered_ || closed_ || ended_; });
  return ended_ || taken_ == offered_ ? std::nullopt : std::optional(taken_++);
}

bool OrderedLine::awaitTurn(std::size_t item) {
  Lock lock(mutex_);
  turns_[item % turns_.size()].wait(lock, [&] { return delivered_ == item || ended_; });
  return !ended_;
}

void OrderedLine::finish(std::exception_ptr error) {
  if (error) {
    {
      const Lock lock(mutex_);
      error_ = std::move(error);
    }
    abandon();
    return;
  }
  std::size_t next = 0;
  {
    const Lock lock(mutex_);
    next = ++delivered_;
  }
  turns_[next % turns_.size()].notify_all();
  delivery_.notify_all();
}

void OrderedLine::process(std::size_t item, std::size_t worker) noexcept {
  std::exception_ptr error;
  try {
    work_.make(item, worker);
  } catch (...) {
    error = std::current_exception();
  }
  if (!awaitTurn(item)) {
    return;  // an earlier item's error comes first
  }
  if (!error) {
    try {
      work_.deliver(item, worker);
    } catch (...) {
      error = std::current_exception();
    }
  }
  finish(std::move(error));
}

void OrderedLine::workUntilClosed(std::size_t worker) noexcept {
  while (const auto item = take()) {
    process(*item, worker);
  }
}

void OrderedLine::workOnce(std::size_t worker) noexcept {
  if (const auto item = take()) {
    process(*item, worker);
  }
}

void OrderedLine::awaitDelivered(std::size_t count) {
  {
    Lock lock(mutex_);
    delivery_.wait(lock, [&] { return delivered_ >= count || ended_; });
  }
  rethrow();
}

void OrderedLine::rethrow() {
  std::exception_ptr error;
  {
    const Lock lock(mutex_);
    error = error_;
  }
  if (error) {
    std::rethrow_exception(error);
  }
}

void runInOrder(OrderedWork& work, std::size_t items, std::size_t threads) {
  const std::size_t workers = std::max<std::size_t>(1, std::min(threads, items));
  OrderedLine line(work, workers);
  line.offer(items);
  line.close();
  {
    const ThreadGroup helpers(workers - 1, 1, [&line](std::size_t worker) { line.workUntilClosed(worker); });
    line.workUntilClosed(0);
  }
  line.rethrow();
}

}  // namespace casefile::pipeline
