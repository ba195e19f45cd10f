// What is uploaded: by a schedule, and at the end of a host.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "sqm/common/UploadTarget.h"
#include "sqm/delivery/UploadSchedule.h"
#include "sqm/queue/QFRecordUploader.h"

#include "faces/c/internal/Growing.h"
#include "faces/c/internal/Objects.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace
using sqm::UploadTarget;
using sqm::delivery::UploadSchedule;

struct sqm_target {
  UploadTarget target;
};

namespace {

UploadSchedule& scheduleOf(const sqm_host* host) {
  UploadSchedule* schedule = on(host).state->host.schedule();
  if (schedule == nullptr) throw Failure(SQM_UNAVAILABLE, "the host was made without a schedule");
  return *schedule;
}

/// Calls `function` while the manager exists, and afterwards gives `gone`.
template <typename Result>
std::function<Result()> whileAlive(std::weak_ptr<sqm::SQMManager> manager, std::function<Result()> function,
                                   Result gone) {
  if (!function) return nullptr;
  return [manager = std::move(manager), function = std::move(function), gone] {
    const auto alive = manager.lock();
    return alive ? function() : gone;
  };
}

std::function<void()> whileAlive(std::weak_ptr<sqm::SQMManager> manager, std::function<void()> function) {
  if (!function) return nullptr;
  return [manager = std::move(manager), function = std::move(function)] {
    if (const auto alive = manager.lock()) function();
  };
}

// NOLINTBEGIN(clang-analyzer-cplusplus.NewDeleteLeaks): it does not follow a function that another one holds
UploadTarget targetOf(const std::shared_ptr<sqm::SQMManager>& manager) {
  const UploadTarget target = manager->uploadTarget();
  return {whileAlive(manager, target.start), whileAlive(manager, target.isIdle, true), whileAlive(manager, target.save),
          whileAlive(manager, target.waiting, std::size_t{0})};
}

UploadTarget targetOf(const sqm_target_table& table) {
  UploadTarget target;
  target.start = [table] { table.start(table.context); };
  if (table.is_idle != nullptr) target.isIdle = [table] { return table.is_idle(table.context); };
  if (table.save != nullptr) target.save = [table] { table.save(table.context); };
  if (table.waiting != nullptr) target.waiting = [table] { return table.waiting(table.context); };
  return target;
}

template <typename Make>
sqm_target* newTarget(Make&& make) {
  return newHandle<sqm_target>([&] { return std::make_unique<sqm_target>(sqm_target{make()}); });
}

}  // namespace

sqm_target* sqm_target_of_manager(sqm_manager* manager) {
  return newTarget([&] { return targetOf(on(manager).manager); });
}

sqm_target* sqm_target_of_queue(void) {
  return newTarget([] { return queue().uploadTarget(); });
}

sqm_target* sqm_target_create(const sqm_target_table* table) {
  return newTarget([&] {
    const sqm_target_table callbacks = known(table);
    require(callbacks.start != nullptr, "the target has no `start`");
    return targetOf(callbacks);
  });
}

// NOLINTEND(clang-analyzer-cplusplus.NewDeleteLeaks)

void sqm_target_destroy(sqm_target* target) { destroy(target); }

sqm_status sqm_schedule_add_target(sqm_host* host, const sqm_target* target) {
  return attempt([&] { scheduleOf(host).addTarget(on(target).target); });
}

sqm_status sqm_schedule_start(sqm_host* host) {
  return attempt([&] { scheduleOf(host).start(); });
}

sqm_status sqm_schedule_upload_now(sqm_host* host) {
  return attempt([&] { scheduleOf(host).uploadNow(); });
}

sqm_status sqm_schedule_network_changed(sqm_host* host) {
  return attempt([&] { scheduleOf(host).networkChanged(); });
}

sqm_status sqm_schedule_upload_last(sqm_host* host) {
  return attempt([&] { scheduleOf(host).uploadLast(); });
}

sqm_status sqm_schedule_stop(sqm_host* host) {
  return attempt([&] { scheduleOf(host).stop(); });
}

bool sqm_schedule_is_uploading(const sqm_host* host) {
  return valueOr(false, [&] { return scheduleOf(host).isUploading(); });
}

uint64_t sqm_schedule_uploads(const sqm_host* host) {
  return valueOr(std::uint64_t{0}, [&] { return scheduleOf(host).uploads(); });
}

sqm_status sqm_host_shut_down(sqm_host* host, int64_t timeout_ms, sqm_target* const* targets, size_t count,
                              bool* is_cut_off, size_t* waiting, size_t waiting_count) {
  return attempt([&] {
    const SharedHost state = on(host).state;  // a task may destroy the handle
    require(targets != nullptr || count == 0, "the targets are NULL");
    std::vector<UploadTarget> all;
    for (std::size_t at = 0; at < count; ++at) all.push_back(on(targets[at]).target);
    const auto left = state->host.shutDown(std::chrono::milliseconds(timeout_ms), all);
    if (is_cut_off != nullptr) *is_cut_off = left.isCutOff;
    if (waiting == nullptr) return;
    std::fill_n(waiting, waiting_count, 0);
    std::copy_n(left.waiting.begin(), std::min(waiting_count, left.waiting.size()), waiting);
  });
}
