#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace collector {

/// Threads that run tasks. A thread is started when a task finds none idle, up to a limit; beyond it tasks wait in
/// their order.
///
/// Threading: any thread. The destructor waits for all tasks.
class ThreadPool {
 public:
  /// `most` is at least 1.
  explicit ThreadPool(std::size_t most) : most_(most) {}
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;
  ~ThreadPool();

  /// Throws std::system_error when there is no thread and none can be started.
  void run(std::function<void()> task);

  /// Called by a task that could end before it is done. Returns true when it must, because all threads have tasks and
  /// others wait: for as many tasks as wait.
  bool mustGiveWay();

 private:
  void runTasks();

  const std::size_t most_;
  std::mutex mutex_;
  std::condition_variable hasTask_;
  std::deque<std::function<void()>> tasks_;
  std::vector<std::thread> threads_;
  std::size_t idle_ = 0;
  std::size_t ending_ = 0;  // tasks that give way
  bool isEnding_ = false;
};

}  // namespace collector
