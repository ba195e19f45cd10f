#include "sqm/platform/system/RunLoop.h"

#include <algorithm>
#include <utility>

#include "sqm/platform/system/internal/WakeTimer.h"

namespace sqm::platform {

namespace {

using Clock = std::chrono::steady_clock;

/// The present for a negative time-out; the clock's last moment for one that would exceed it.
Clock::time_point deadlineAfter(std::chrono::milliseconds timeout) {
  const Clock::time_point now = Clock::now();
  const auto longest = std::chrono::floor<std::chrono::milliseconds>(Clock::time_point::max() - now);
  return timeout < longest ? now + std::max(timeout, std::chrono::milliseconds(0)) : Clock::time_point::max();
}

}  // namespace

RunLoop::RunLoop() = default;

RunLoop::~RunLoop() = default;

void RunLoop::post(Task task) {
  {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    setWakeTime();
  }
  changed_.notify_one();
}

bool RunLoop::postAfter(std::chrono::milliseconds delay, Task task) {
  {
    const std::lock_guard lock(mutex_);
    later_.emplace(deadlineAfter(delay), std::move(task));
    setWakeTime();
  }
  changed_.notify_one();
  return true;
}

void RunLoop::queueDueTasks() {
  if (later_.empty()) return;
  const TimePoint now = Clock::now();
  for (auto due = later_.begin(); due != later_.end() && due->first <= now; due = later_.erase(due)) {
    tasks_.push_back(std::move(due->second));
  }
  setWakeTime();
}

void RunLoop::wait(std::unique_lock<std::mutex>& lock, TimePoint deadline) {
  changed_.wait_until(lock, later_.empty() ? deadline : std::min(deadline, later_.begin()->first));
}

void RunLoop::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    queueDueTasks();
    if (std::exchange(stopped_, false)) return;
    if (tasks_.empty()) {
      wait(lock, TimePoint::max());
    } else {
      runOldest(lock);
    }
  }
}

void RunLoop::stop() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_one();
}

bool RunLoop::runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  return runUntil(done, deadlineAfter(timeout));
}

bool RunLoop::runUntilIdle(const std::function<bool()>& isIdle, std::chrono::milliseconds timeout) {
  const Clock::time_point deadline = deadlineAfter(timeout);
  for (;;) {
    if (!runUntil(isIdle, deadline)) return false;
    if (poll() == 0) return true;
    if (Clock::now() >= deadline) return isIdle();
  }
}

bool RunLoop::runUntil(const std::function<bool()>& done, Clock::time_point deadline) {
  while (!done()) {
    std::unique_lock lock(mutex_);
    while (queueDueTasks(), tasks_.empty() && Clock::now() < deadline) wait(lock, deadline);
    if (tasks_.empty() || Clock::now() >= deadline) {
      lock.unlock();
      return done();
    }
    runOldest(lock);
  }
  return true;
}

std::size_t RunLoop::poll() {
  std::unique_lock lock(mutex_);
  queueDueTasks();
  const std::uint64_t end = taken_ + tasks_.size();
  std::size_t ran = 0;
  for (; taken_ < end; ++ran) runOldest(lock);
  return ran;
}

int RunLoop::wakeDescriptor() {
  const std::lock_guard lock(mutex_);
  if (!wakeTimer_) {
    auto timer = std::make_unique<WakeTimer>();
    if (timer->descriptor() < 0) return -1;
    wakeTimer_ = std::move(timer);
    setWakeTime();
  }
  return wakeTimer_->descriptor();
}

void RunLoop::setWakeTime() {
  if (!wakeTimer_) return;
  const TimePoint next = later_.empty() ? TimePoint::max() : later_.begin()->first;
  wakeTimer_->set(tasks_.empty() ? next : TimePoint::min());
}

void RunLoop::runOldest(std::unique_lock<std::mutex>& lock) {
  Task task = std::move(tasks_.front());
  tasks_.pop_front();
  ++taken_;
  setWakeTime();
  lock.unlock();
  task();
  task = nullptr;  // before the lock is taken again: the destructors of its captures may post
  lock.lock();
}

}  // namespace sqm::platform
