// The host's loop, and the notifications that its tasks post.

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <utility>

#include "sqm/common/HttpTransaction.h"
#include "sqm/common/MainThread.h"
#include "sqm/platform/system/RunLoop.h"

#include "faces/c/internal/Objects.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace
using std::chrono::milliseconds;

namespace {

/// The host of a call that runs tasks, one of which may destroy the handle.
SharedHost kept(const sqm_host* host) { return on(host).state; }

sqm::platform::RunLoop& loopOfAnyThread(const sqm_host* host) { return on(host, Use::anyThread).state->host.runLoop(); }

template <typename Value>
void give(Value* out, const Value& value) {
  if (out != nullptr) *out = value;
}

void requireCallback(bool isGiven) { require(isGiven, "the callback is NULL"); }

}  // namespace

sqm_status sqm_host_run_until_idle(sqm_host* host, int64_t timeout_ms, bool* is_idle) {
  return attempt([&] { give(is_idle, kept(host)->host.runUntilIdle(milliseconds(timeout_ms))); });
}

sqm_status sqm_host_run_until(sqm_host* host, bool (*done)(void* context), void* context, int64_t timeout_ms,
                              bool* is_done) {
  return attempt([&] {
    requireCallback(done != nullptr);
    give(is_done, kept(host)->host.runLoop().runUntil([=] { return done(context); }, milliseconds(timeout_ms)));
  });
}

sqm_status sqm_host_run(sqm_host* host) {
  return attempt([&] { kept(host)->host.runLoop().run(); });
}

sqm_status sqm_host_stop(sqm_host* host) {
  return attempt([&] { loopOfAnyThread(host).stop(); });
}

int sqm_host_wake_fd(sqm_host* host) {
  return valueOr(-1, [&] {
    const int descriptor = on(host).state->host.runLoop().wakeDescriptor();
    if (descriptor < 0) throw Failure(SQM_FAILED, std::generic_category().message(errno));
    return descriptor;
  });
}

sqm_status sqm_host_run_pending(sqm_host* host, size_t* ran) {
  return attempt([&] { give(ran, kept(host)->host.runLoop().poll()); });
}

sqm_status sqm_host_post(sqm_host* host, sqm_task task, void* context) {
  return attempt([&] {
    requireCallback(task != nullptr);
    loopOfAnyThread(host).post([=] { task(context); });
  });
}

sqm_status sqm_host_post_after(sqm_host* host, int64_t delay_ms, sqm_task task, void* context) {
  return attempt([&] {
    requireCallback(task != nullptr);
    loopOfAnyThread(host).postAfter(milliseconds(delay_ms), [=] { task(context); });
  });
}

size_t sqm_host_requests_under_way(const sqm_host* host) {
  return valueOr(std::size_t{0}, [&] { return on(host).state->host.httpTransactions->requestsUnderWay(); });
}

namespace sqm::c {

sqm_observer* newObserver(const SharedHost& host, const char* name, const void* sender,
                          sqm_notification_callback callback, void* context) {
  return newHandle<sqm_observer>([&] {
    require(name != nullptr, "the name is NULL");
    requireCallback(callback != nullptr);
    auto call = [callback, context, ended = std::string(name)](const Notification&) {
      callback(context, ended.c_str());
    };
    return std::make_unique<sqm_observer>(
        sqm_observer{host, host->host.notificationCenter->addObserver(name, sender, std::move(call))});
  });
}

}  // namespace sqm::c

sqm_observer* sqm_host_observe(sqm_host* host, const char* name, sqm_notification_callback callback, void* context) {
  return valueOr<sqm_observer*>(nullptr, [&] { return newObserver(on(host).state, name, nullptr, callback, context); });
}

void sqm_observer_destroy(sqm_observer* observer) { destroy(observer); }
