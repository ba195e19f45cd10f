#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>

#include "sqm/common/MainThread.h"

namespace sqm::platform {

/// A queue of tasks that the host runs on the thread that drives the library. `MainThreadAdapter` is for a host that
/// has an event loop of its own.
///
/// Ownership: tasks that nobody ran are dropped with the loop.
/// Threading: `post` and `stop` from any thread; `run`, `runUntil` and `poll` from the one thread that drives the
/// library. A task may call any of them.
/// Failure: an exception that leaves a task reaches who runs the loop; the tasks behind it stay queued.
class RunLoop final : public MainThread {
 public:
  void post(Task task) override;

  /// Runs tasks as they come, until `stop`.
  void run();

  /// Makes `run` return once the task that runs now has ended; if none runs, the next `run` returns at once.
  void stop();

  /// Runs tasks until `done` holds, which is asked first and after every task, or until `timeout` has passed. True when
  /// `done` held.
  bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);

  /// Runs tasks until `isIdle` holds and no task waits that could change that, or until `timeout` has passed. True when
  /// `isIdle` held.
  bool runUntilIdle(const std::function<bool()>& isIdle, std::chrono::milliseconds timeout);

  /// Runs what is queued now and returns how many tasks that were. What is posted meanwhile waits for the next call.
  std::size_t poll();

 private:
  bool runUntil(const std::function<bool()>& done, std::chrono::steady_clock::time_point deadline);

  /// Takes the oldest task out and runs it with the lock released. The queue must not be empty.
  void runOldest(std::unique_lock<std::mutex>& lock);

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
  std::uint64_t taken_ = 0;  // tasks that have left the queue: the number of the oldest in it
  bool stopped_ = false;
};

}  // namespace sqm::platform
