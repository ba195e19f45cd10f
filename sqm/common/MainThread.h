#pragma once

#include <functional>

namespace sqm {

/// The thread that drives the library, seen from elsewhere: takes tasks and runs them there, later, in order.
///
/// Threading: `post` may be called from any thread, and never runs the task itself.
class MainThread {
 public:
  using Task = std::function<void()>;

  virtual ~MainThread() = default;
  virtual void post(Task task) = 0;
};

}  // namespace sqm
