#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/common/Host.h"
#include "sqm/common/UploadTarget.h"
#include "sqm/delivery/Outcomes.h"
#include "sqm/delivery/ScheduleRules.h"

namespace sqm::delivery {

/// The file in the application's folder that keeps the time of the next upload.
inline constexpr std::string_view kScheduleFile = "UploadSchedule.txt";

/// Decides when to upload: in a period, after failures with growing pauses, when a server asks for a pause not before.
/// `ScheduleRules.h` has the rules.
///
///     schedule.addTarget(manager.uploadTarget());
///     schedule.start();
///
/// An upload starts the targets one after another, also after one of them has failed. A target has ended when it is
/// idle. The upload has failed when one of its exchanges is to be sent again; `exchangeEnded` must be called with each
/// of them, from `StandardHost::Options::onDelivery` or as `StandardHost::Options::schedule` does it.
///
/// Ownership: the host's services must outlive the object. An upload that runs when it is destroyed continues.
/// Threading: the main thread.
/// Failure: without timers of the host's main thread, only `start` and `uploadNow` start uploads. A file that cannot be
/// read or written is ignored: the schedule then begins anew in the next process.
class UploadSchedule {
 public:
  /// Its functions are called in tasks of the main thread. They must not destroy the schedule or add targets.
  using Target = UploadTarget;

  /// Random numbers in [0, 1).
  using Random = std::function<double()>;

  /// Uses a generator of its own when `random` is empty.
  explicit UploadSchedule(Host& host, const ScheduleOptions& options = {}, Random random = {});
  UploadSchedule(const UploadSchedule&) = delete;
  UploadSchedule& operator=(const UploadSchedule&) = delete;
  ~UploadSchedule();

  void addTarget(Target target);
  const std::vector<Target>& targets() const { return targets_; }

  /// Reads the file and begins. Call it once.
  void start();

  /// Starts an upload as soon as the smallest pause and the pause that a server has asked for allow it. While one runs,
  /// another follows when that succeeds.
  void uploadNow();

  /// Starts an upload, while none runs, unless a server has asked for a pause, or one has failed within the smallest
  /// pause. For the end of the process.
  void uploadLast();

  /// Starts nothing from now on.
  void stop() { lifetime_.reset(); }

  /// Call it when the machine is connected to a network. After a failure, the next upload starts soon.
  void networkChanged();

  /// Call it for each exchange.
  void exchangeEnded(const Delivery& delivery);

  bool isUploading() const { return state_.isUploading; }

  /// The uploads that this object has started.
  std::uint64_t uploads() const { return uploads_; }

 private:
  void handle(const ScheduleEvent& event, Date now);
  void handle(const ScheduleEvent& event);
  void wakeIn(Date::duration wait, Date now);
  void startTarget();
  void check();
  void endTargetIfIdle(std::uint64_t check, int rounds);
  void watch();
  std::function<void()> whileAlive(std::function<void()> task) const;
  std::string path() const;
  void save();

  Host& host_;
  const ScheduleOptions options_;
  const Random random_;
  std::vector<Target> targets_;
  ScheduleState state_;
  std::vector<Date> timers_;  // those that are set; each was earlier than all before it when it was added

  // Of the upload that runs.
  std::size_t target_ = 0;
  bool hasFailed_ = false;
  std::chrono::seconds retryAfter_{0};
  std::uint64_t checks_ = 0;

  std::uint64_t uploads_ = 0;
  std::shared_ptr<const bool> lifetime_ = std::make_shared<const bool>(true);
};

}  // namespace sqm::delivery
