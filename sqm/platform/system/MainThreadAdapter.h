#pragma once

#include <functional>
#include <utility>

#include "sqm/common/MainThread.h"

namespace sqm::platform {

/// Passes the library's tasks to the event loop of the host application:
///
///     MainThreadAdapter mainThread([&](MainThread::Task task) { loop.invokeLater(std::move(task)); });
///
/// Threading: the function is called on any thread. It must run the tasks later, in order, on the thread that calls the
/// library.
class MainThreadAdapter final : public MainThread {
 public:
  explicit MainThreadAdapter(std::function<void(Task)> post) : post_(std::move(post)) {}

  void post(Task task) override { post_(std::move(task)); }

 private:
  std::function<void(Task)> post_;
};

}  // namespace sqm::platform
