#pragma once

#include <chrono>
#include <functional>
#include <utility>

#include "sqm/common/MainThread.h"

namespace sqm::platform {

/// Passes the library's tasks to the event loop of the host application:
///
///     MainThreadAdapter mainThread([&](MainThread::Task task) { loop.invokeLater(std::move(task)); });
///
/// A second function passes the tasks for later to the timers of the event loop, which the upload schedule needs.
///
/// Threading: the functions are called on any thread. They must run the tasks later, in order, on the thread that calls
/// the library.
class MainThreadAdapter final : public MainThread {
 public:
  using Delay = std::chrono::milliseconds;

  explicit MainThreadAdapter(std::function<void(Task)> post, std::function<void(Delay, Task)> postAfter = {})
      : post_(std::move(post)), postAfter_(std::move(postAfter)) {}

  void post(Task task) override { post_(std::move(task)); }
  bool postAfter(Delay delay, Task task) override {
    if (postAfter_) postAfter_(delay, std::move(task));
    return postAfter_ != nullptr;
  }

 private:
  std::function<void(Task)> post_;
  std::function<void(Delay, Task)> postAfter_;
};

}  // namespace sqm::platform
