#pragma once

#include <chrono>
#include <functional>

namespace sqm {

/// Runs tasks on the thread that calls the library, later and in the order in which they were posted.
///
/// Threading: any thread may call `post` and `postAfter`, which never run the task themselves.
class MainThread {
 public:
  using Task = std::function<void()>;

  virtual ~MainThread() = default;
  virtual void post(Task task) = 0;

  /// Posts the task when `delay` has passed. The default is a main thread without timers: it returns false and drops
  /// the task. The upload schedule then starts only the uploads that are asked for.
  // NOLINTNEXTLINE(performance-unnecessary-value-param): implementations keep the task
  virtual bool postAfter(std::chrono::milliseconds /*delay*/, Task /*task*/) { return false; }
};

}  // namespace sqm
