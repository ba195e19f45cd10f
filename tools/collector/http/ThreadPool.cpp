#include "tools/collector/http/ThreadPool.h"

#include <system_error>
#include <utility>

namespace collector {

ThreadPool::~ThreadPool() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  hasTask_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void ThreadPool::run(std::function<void()> task) {
  const std::lock_guard lock(mutex_);
  if (idle_ <= tasks_.size() && threads_.size() < most_) {
    try {
      threads_.emplace_back([this] { runTasks(); });
    } catch (const std::system_error&) {
      if (threads_.empty()) throw;
    }
  }
  tasks_.push_back(std::move(task));
  hasTask_.notify_one();
}

bool ThreadPool::mustGiveWay() {
  const std::lock_guard lock(mutex_);
  const bool must = threads_.size() == most_ && tasks_.size() > idle_ + ending_;
  if (must) ++ending_;
  return must;
}

void ThreadPool::runTasks() {
  std::unique_lock lock(mutex_);
  for (;;) {
    ++idle_;
    hasTask_.wait(lock, [this] { return isEnding_ || !tasks_.empty(); });
    --idle_;
    if (tasks_.empty()) return;
    const auto task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    lock.lock();
    if (ending_ > 0) --ending_;
  }
}

}  // namespace collector
