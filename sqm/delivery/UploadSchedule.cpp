#include "sqm/delivery/UploadSchedule.h"

#include <algorithm>
#include <new>
#include <random>
#include <utility>

#include "sqm/common/Files.h"
#include "sqm/common/HttpTransaction.h"
#include "sqm/common/MainThread.h"
#include "sqm/common/TrelkConfiguration.h"

namespace sqm::delivery {

namespace {

using Kind = ScheduleEvent::Kind;

UploadSchedule::Random newGenerator() {
  return [engine = std::mt19937_64(std::random_device()())]() mutable {
    return std::uniform_real_distribution<double>()(engine);
  };
}

/// An end of a transaction that is not reported, because the transaction was destroyed, is noticed after this time.
constexpr std::chrono::minutes kWatchPause{1};

}  // namespace

UploadSchedule::UploadSchedule(Host& host, const ScheduleOptions& options, Random random)
    : host_(host), options_(options), random_(random ? std::move(random) : newGenerator()) {}

UploadSchedule::~UploadSchedule() = default;

void UploadSchedule::addTarget(Target target) { targets_.push_back(std::move(target)); }

void UploadSchedule::start() {
  std::string text;
  if (!host_.files->read(path(), text)) state_ = scheduleStateOf(text);
  handle({.kind = Kind::started});
}

void UploadSchedule::uploadNow() { handle({.kind = Kind::uploadNow}); }

void UploadSchedule::uploadLast() {
  if (!state_.isUploading) handle({.kind = Kind::uploadLast});
}

void UploadSchedule::networkChanged() { handle({.kind = Kind::networkChanged}); }

void UploadSchedule::exchangeEnded(const Delivery& delivery) {
  if (!state_.isUploading) return;
  // What a server asks for holds for uploads, also where any status counts as delivered.
  const Outcome ofStatus = outcomeOf(Accept::only2xx, {.status = delivery.status});
  if (delivery.outcome == Outcome::retry || ofStatus == Outcome::retry) {
    hasFailed_ = true;
    retryAfter_ = std::max(retryAfter_, delivery.retryAfter);
  }
  try {
    check();
  } catch (const std::bad_alloc&) {
    // The caller is about to post a notification, which must not fail. `watch` checks later.
  }
}

void UploadSchedule::handle(const ScheduleEvent& event) { handle(event, host_.clock->date()); }

void UploadSchedule::handle(const ScheduleEvent& event, Date now) {
  if (!lifetime_) return;
  const ScheduleDecision decision = decide(state_, event, now, random_(), options_);
  state_ = decision.state;
  if (event.kind == Kind::ended) save();
  if (decision.wait) wakeIn(*decision.wait, now);
  if (!decision.startsUpload) return;
  ++uploads_;
  target_ = 0;
  hasFailed_ = false;
  retryAfter_ = {};
  watch();
  startTarget();
}

/// Sets a timer unless an earlier one is set, which sets the next. So there are few of them.
void UploadSchedule::wakeIn(Date::duration wait, Date now) {
  const Date at = now + wait;
  std::erase_if(timers_, [now](Date each) { return each <= now; });  // late: the clock was set forward
  if (!timers_.empty() && timers_.back() <= at) return;
  const auto task = [this, at] {
    std::erase(timers_, at);
    // The pause has passed, although the clock may have been set back meanwhile.
    const bool isNext = state_.next && state_.next->at == at;
    handle({.kind = Kind::timer}, isNext ? std::max(host_.clock->date(), at) : host_.clock->date());
  };
  const auto delay = std::chrono::ceil<std::chrono::milliseconds>(wait);
  if (host_.mainThread->postAfter(delay, whileAlive(task))) timers_.push_back(at);
}

void UploadSchedule::startTarget() {
  if (target_ < targets_.size()) targets_[target_].start();
  check();
}

/// Looks in later tasks whether the target has ended. A handler of the exchange, or a task that it posted, may start
/// the next request: a target has ended when it is idle in two tasks, the second posted by the first.
void UploadSchedule::check() {
  host_.mainThread->post(whileAlive([this, number = ++checks_] { endTargetIfIdle(number, /*rounds=*/1); }));
}

void UploadSchedule::endTargetIfIdle(std::uint64_t check, int rounds) {
  if (!state_.isUploading || check != checks_) return;
  if (target_ < targets_.size()) {
    const auto& isIdle = targets_[target_].isIdle;
    if (isIdle ? !isIdle() : host_.httpTransactions->requestsUnderWay() > 0) return;
    if (rounds > 0) {
      host_.mainThread->post(whileAlive([=, this] { endTargetIfIdle(check, rounds - 1); }));
      return;
    }
    ++target_;
  }
  if (target_ < targets_.size()) {
    startTarget();
  } else {
    handle({.kind = Kind::ended, .hasFailed = hasFailed_, .retryAfter = retryAfter_});
  }
}

void UploadSchedule::watch() {
  host_.mainThread->postAfter(kWatchPause, whileAlive([this, upload = uploads_] {
                                if (!state_.isUploading || upload != uploads_) return;
                                check();
                                watch();
                              }));
}

/// A task that does nothing once this object is stopped or destroyed.
std::function<void()> UploadSchedule::whileAlive(std::function<void()> task) const {
  return [task = std::move(task), lifetime = std::weak_ptr(lifetime_)] {
    if (!lifetime.expired()) task();
  };
}

std::string UploadSchedule::path() const {
  return host_.configuration->applicationQuenfaFolderPath() + "/" + std::string(kScheduleFile);
}

void UploadSchedule::save() { static_cast<void>(host_.files->replace(path(), {savedScheduleOf(state_)})); }

}  // namespace sqm::delivery
