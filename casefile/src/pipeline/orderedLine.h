#ifndef CASEFILE_PIPELINE_ORDEREDLINE_H
#define CASEFILE_PIPELINE_ORDEREDLINE_H

#include <cstddef>
#include <exception>
#include <optional>
#include <vector>

#include "threadPrimitives.h"

namespace casefile::pipeline {

/// What is done with each of a row of items, numbered from 0: made by any worker, delivered in order.
class OrderedWork {
 public:
  virtual ~OrderedWork() = default;
  /// Threads: several at once, each with a worker's number of its own.
  virtual void make(std::size_t item, std::size_t worker) = 0;
  /// Threads: one at a time; the item before has been delivered, and `worker` has made this one.
  virtual void deliver(std::size_t item, std::size_t worker) = 0;
};

/// The row in which workers take items, make them and wait for their turn to deliver.
///
///   0      delivered_        taken_        offered_
///   +----------+---------------+-------------+
///   | done     | being made or | waiting for |
///   |          | in line       | a worker    |
///   +----------+---------------+-------------+
///
/// A worker holds one item at a time, so at most as many as there are workers are between delivered_ and
/// taken_: their numbers modulo the count of workers differ, and each waits on a condition of its own.
/// The first item in order whose making or delivery raises ends the work; its error is kept.
class OrderedLine {
 public:
  /// `workers`: the most that there will be; their numbers are below it.
  OrderedLine(OrderedWork& work, std::size_t workers);

  /// Lets the workers take `count` more items.
  void offer(std::size_t count);
  /// No more items will be offered: workers leave when all are taken.
  void close();
  /// Ends the work as it stands; items that are being made are not delivered.
  void abandon();

  /// Makes and delivers until the line is closed or the work has failed. Threads: each worker.
  void workUntilClosed(std::size_t worker) noexcept;
  /// Makes and delivers one item that was offered. Threads: the only worker.
  void workOnce(std::size_t worker) noexcept;

  /// Waits until `count` items were delivered. Raises: the error that ended the work.
  void awaitDelivered(std::size_t count);
  /// Raises: the error that ended the work, if it has ended so.
  void rethrow();

 private:
  std::optional<std::size_t> take();
  bool awaitTurn(std::size_t item);
  void finish(std::exception_ptr error);
  void process(std::size_t item, std::size_t worker) noexcept;

  OrderedWork& work_;
  Mutex mutex_;
  Condition offer_;               // more items, or no more ever
  Condition delivery_;            // an item was delivered, or the work has ended
  std::vector<Condition> turns_;  // of an item: at its remainder
  std::size_t offered_ = 0;
  std::size_t taken_ = 0;
  std::size_t delivered_ = 0;
  bool closed_ = false;
  bool ended_ = false;  // by an error, or because nobody wants the rest
  std::exception_ptr error_;
};

/// Makes `items` items on up to `threads` threads, the caller's among them, and delivers them in order.
///
/// Raises: the error of the first item in order that has one, when no thread works any more.
void runInOrder(OrderedWork& work, std::size_t items, std::size_t threads);

}  // namespace casefile::pipeline

#endif
