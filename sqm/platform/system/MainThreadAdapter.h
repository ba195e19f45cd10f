#pragma once

#include <functional>
#include <utility>

#include "sqm/common/MainThread.h"

namespace sqm::platform {

/// Hands the library's tasks to the event loop that the host already has:
///
///     MainThreadAdapter mainThread([&](MainThread::Task task) { loop.invokeLater(std::move(task)); });
///
/// Threading: the function is called on any thread, and must run the task later, in order, on the thread that drives
/// the library.
class MainThreadAdapter final : public MainThread {
 public:
  explicit MainThreadAdapter(std::function<void(Task)> post) : post_(std::move(post)) {}

  void post(Task task) override { post_(std::move(task)); }

 private:
  std::function<void(Task)> post_;
};

}  // namespace sqm::platform
