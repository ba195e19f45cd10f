#pragma once

#include <functional>

namespace sqm {

/// Runs tasks on the thread that calls the library, later and in the order in which they were posted.
///
/// Threading: `post` may be called from any thread and never runs the task itself.
class MainThread {
 public:
  using Task = std::function<void()>;

  virtual ~MainThread() = default;
  virtual void post(Task task) = 0;
};

}  // namespace sqm
