#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/common/HttpTransaction.h"
#include "sqm/common/LogFile.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/delivery/UploadSchedule.h"
#include "sqm/diagnostics/SQMDiagnosticsRecord.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/sessionfiles/SQMDataCollector.h"
#include "sqm/sessionfiles/SQMUploader.h"

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/play/FixedEnvironment.h"
#include "tools/sqmctl/play/StandingTimers.h"

namespace sqmctl::play {

/// The host application of a scenario. Owns the objects of the library that the operations call.
///
/// Failure: throws Problem when the scenario cannot continue, for example when the home directory is not writable.
class Player {
 public:
  Player(const Invocation& invocation, FixedEnvironment& environment);
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;
  ~Player();

  sqm::SQMManager& manager() { return *manager_; }
  sqm::SQMDataCollector& collector() { return collector_; }
  sqm::SQMUploader& uploader() { return *uploader_; }
  sqm::SQMDiagnosticsRecord& diagnostics();
  sqm::QFRecordUploader& queue();
  sqm::platform::RuleFilter& filter() { return host_.filter(); }
  StandingClock* clock() { return environment_.clock(); }

  sqm::delivery::DeliveryStatistics statistics() const { return host_.statistics(); }

  void restart();
  void setConsent(sqm::delivery::Consent consent);

  /// A folder of `.sqm` files, which are removed when the consent is revoked.
  void addSessionFolder(const std::string& path);
  void setClientTimeStamp(std::optional<std::string_view> value);

  /// The path that a scenario gives as an absolute one or relative to the home directory.
  std::string pathOf(const std::string& path) const;
  void makeFolder(const std::string& path) const;

  // Each function starts an upload and runs the loop until no request is active or the time limit is reached. It then
  // aborts an active request, without a notification: the data stays stored. Nothing of an upload is active when the
  // next operation begins. Each returns the names of the notifications that were posted meanwhile.
  using Names = std::vector<std::string>;
  Names upload(double timeoutSeconds);
  Names uploadDirectory(double timeoutSeconds);
  Names uploadQueue(double timeoutSeconds);

  /// Lets the upload schedule work for so long, on the standing clock where there is one: it uploads the lists and the
  /// queue. Returns the number of uploads that it has started.
  std::uint64_t runSchedule(double seconds);

 private:
  /// Creates transactions by another factory and keeps a pointer to the last one. It does not wrap them: they are the
  /// senders of their notifications.
  class Transactions : public sqm::HttpTransactionFactory {
   public:
    explicit Transactions(sqm::HttpTransactionFactory& real) : real_(real) {}
    std::unique_ptr<sqm::HttpTransaction> makeTransaction() override;
    std::size_t requestsUnderWay() const override { return real_.requestsUnderWay(); }
    sqm::HttpTransaction* last() const { return last_; }

   private:
    sqm::HttpTransactionFactory& real_;
    sqm::HttpTransaction* last_ = nullptr;
  };

  sqm::platform::StandardHost::Options optionsOf(const Invocation& invocation);
  void createManager();
  void runStandingClock(const sqm::delivery::UploadSchedule& schedule, StandingTimers& timers, double seconds);
  void abortUploads();
  Names finish(double timeoutSeconds, const std::function<void()>& abort);

  FixedEnvironment& environment_;
  sqm::delivery::UploadSchedule* schedule_ = nullptr;  // that of `runSchedule`
  sqm::platform::StandardHost host_;
  Transactions transactions_;
  Names notifications_;
  std::vector<sqm::NotificationCenter::Registration> registrations_;
  std::unique_ptr<sqm::SQMManager> manager_;
  sqm::HttpTransaction* managerTransaction_ = nullptr;
  sqm::SQMDataCollector collector_;
  std::unique_ptr<sqm::SQMUploader> uploader_;
  sqm::QFRecordUploader* queue_ = nullptr;
  sqm::HttpTransaction* queueTransaction_ = nullptr;
  std::unique_ptr<sqm::LogFile> queueLog_;
};

}  // namespace sqmctl::play
