#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "sqm/common/MainThread.h"

namespace sqm::platform {

class WakeTimer;

/// A queue of tasks, which the host runs on the thread that calls the library. A host with an event loop of its own
/// waits for `wakeDescriptor` in it and calls `poll`, or uses `MainThreadAdapter` instead.
///
/// A task that was posted for later is queued when its time has come, whichever function runs the loop. Until then it
/// is no reason to wait: with one for tomorrow, a loop is idle today.
///
/// Ownership: tasks that have not run are destroyed with the loop.
/// Threading: `post`, `postAfter` and `stop` from any thread; the others from the one thread that calls the library. A
/// task may call any function. Failure: an exception thrown by a task propagates to the caller of `run`, `runUntil`,
/// `runUntilIdle` or `poll`; the tasks behind it stay queued.
class RunLoop final : public MainThread {
 public:
  RunLoop();
  ~RunLoop() override;

  void post(Task task) override;
  bool postAfter(std::chrono::milliseconds delay, Task task) override;

  /// Runs tasks as they are posted, until `stop` is called.
  void run();

  /// Makes `run` return after the current task. If `run` is not active, its next call returns at once.
  void stop();

  /// Runs tasks until `done` returns true or `timeout` has passed. `done` is called first and after every task. Returns
  /// its last result.
  bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);

  /// Runs tasks until `isIdle` returns true and no task is queued, which could change that, or until `timeout` has
  /// passed. Returns the last result of `isIdle`.
  bool runUntilIdle(const std::function<bool()>& isIdle, std::chrono::milliseconds timeout);

  /// Runs the tasks that are queued now, but not those that are posted meanwhile. Returns their number.
  std::size_t poll();

  /// A descriptor that is readable while a task is queued or the time of a later one has come, for a host that waits in
  /// an event loop of its own and then calls `poll`. It must not be read. The loop owns it. -1, with the reason in
  /// errno, when the system has none; the next call tries again.
  int wakeDescriptor();

 private:
  using TimePoint = std::chrono::steady_clock::time_point;

  bool runUntil(const std::function<bool()>& done, TimePoint deadline);

  /// Queues the tasks whose time has come. Called with the lock held.
  void queueDueTasks();

  /// Waits, with the lock released, until something has changed, the next task is due, or `deadline` has passed.
  void wait(std::unique_lock<std::mutex>& lock, TimePoint deadline);

  /// Sets the time at which the descriptor, if there is one, is readable. Called with the lock held after each change.
  void setWakeTime();

  /// Removes the oldest task from the queue, which must not be empty, and runs it with the lock released.
  void runOldest(std::unique_lock<std::mutex>& lock);

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
  std::multimap<TimePoint, Task> later_;  // by the time at which each is queued
  std::uint64_t taken_ = 0;               // the number of tasks that were removed from the queue
  bool stopped_ = false;
  std::unique_ptr<WakeTimer> wakeTimer_;  // null until somebody asks for the descriptor
};

}  // namespace sqm::platform
