#include "tools/sqmctl/play/Player.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "sqm/common/TrelkConfiguration.h"
#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/PreferencesFile.h"
#include "sqm/platform/system/RunLoop.h"
#include "sqm/upload/SQMUploadNotifications.h"

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/DeliveryOptions.h"
#include "tools/sqmctl/play/Operation.h"

namespace sqmctl::play {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

[[noreturn]] void fail(const std::string& what) { throw Problem(kFailure, what); }

/// The time limit. More than a year is treated as a year.
milliseconds limitOf(double seconds) {
  constexpr double kLongest = 366.0 * 24 * 60 * 60;
  return milliseconds(std::llround(std::clamp(seconds, 0.0, kLongest) * 1e3));
}

}  // namespace

std::unique_ptr<sqm::HttpTransaction> Player::Transactions::makeTransaction() {
  auto transaction = real_.makeTransaction();
  last_ = transaction.get();
  return transaction;
}

sqm::platform::StandardHost::Options Player::optionsOf(const Invocation& invocation) {
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = invocation.home;
  options.resourceDirectory = resourcesOf(invocation);
  setDelivery(options, invocation);
  options.onDelivery = [this](const sqm::delivery::Delivery& delivery) {
    if (schedule_ != nullptr) schedule_->exchangeEnded(delivery);
  };
  return options;
}

Player::Player(const Invocation& invocation, FixedEnvironment& environment)
    : environment_(environment),
      host_(optionsOf(invocation)),
      transactions_(*host_.httpTransactions),
      collector_(host_) {
  environment_.replaceServicesOf(host_);
  host_.httpTransactions = &transactions_;
  sqm::Host::install(host_);

  const std::string folder = sqm::sqmFolderPath(*host_.configuration);
  if (!host_.makeFolders()) makeFolder(folder);
  if (::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    fail("cannot write into " + folder + ": " + lastReason());
  }
  for (const auto name : {sqm::TrelkSQMUploadSuccess, sqm::TrelkSQMUploadFailure, sqm::TrelkSQMUploadComplete,
                          sqm::TrelkSQMUploadError}) {
    registrations_.push_back(host_.notificationCenter->addObserver(
        name, nullptr, [this](const sqm::Notification& posted) { notifications_.emplace_back(posted.name); }));
  }
  uploader_ = sqm::SQMUploader::create(host_);
  if (!uploader_) fail("cannot write logs below " + host_.configuration->homeDirectory() + "/Library/Logs");
  createManager();
}

Player::~Player() {
  if (queue_ != nullptr) queue_->setLogfile(nullptr);
}

void Player::createManager() {
  manager_ = std::make_unique<sqm::SQMManager>(host_);
  managerTransaction_ = transactions_.last();
}

void Player::restart() {
  manager_.reset();  // writes the lists that the new manager reads
  createManager();
}

sqm::SQMDiagnosticsRecord& Player::diagnostics() { return *sqm::SQMDiagnosticsRecord::sharedSQMDiagnosticsRecord(); }

/// Created by the first call, which reads the archive.
sqm::QFRecordUploader& Player::queue() {
  if (queue_ == nullptr) {
    queue_ = sqm::QFRecordUploader::sharedQFRecordUploader();
    queueTransaction_ = transactions_.last();
    queueLog_ = host_.logFiles->initWithFile("UploadData.log", sqm::kLogLevel);
    queue_->setLogfile(queueLog_.get());
  }
  return *queue_;
}

void Player::setConsent(sqm::delivery::Consent consent) {
  const std::error_code problem = host_.consent()->set(consent);
  if (problem) fail("the consent cannot be applied: " + problem.message());
}

void Player::addSessionFolder(const std::string& path) { host_.consent()->addSessionFolder(path); }

void Player::setClientTimeStamp(std::optional<std::string_view> value) {
  if (!host_.preferences().setClientTimeStamp(value)) {
    fail("cannot write the preferences in " + host_.configuration->applicationQuenfaFolderPath());
  }
}

std::string Player::pathOf(const std::string& path) const {
  return std::filesystem::path(host_.configuration->homeDirectory()) / path;
}

void Player::makeFolder(const std::string& path) const {
  const std::error_code error = sqm::platform::makeFolders(sqm::platform::FileOperations::posix(), path);
  if (error) fail("cannot make the folder " + path + ": " + error.message());
}

Player::Names Player::upload(double timeoutSeconds) {
  manager_->uploadSQM();
  return finish(timeoutSeconds, [this] { managerTransaction_->abortTransaction(); });
}

Player::Names Player::uploadDirectory(double timeoutSeconds) {
  uploader_->startSend();
  return finish(timeoutSeconds, [this] { uploader_->abortSend(); });
}

Player::Names Player::uploadQueue(double timeoutSeconds) {
  queue().uploadRecord();
  return finish(timeoutSeconds, [this] { queueTransaction_->abortTransaction(); });
}

std::uint64_t Player::runSchedule(double seconds) {
  sqm::Host host = static_cast<const sqm::Host&>(host_);
  std::optional<StandingTimers> timers;
  sqm::delivery::UploadSchedule::Random random;  // of its own
  if (clock() != nullptr) {
    host.mainThread = &timers.emplace(*host_.mainThread, *clock());
    random = [] { return 0.5; };  // the same result in every run
  }
  sqm::delivery::UploadSchedule schedule(host, {}, random);
  schedule.addTarget({[this] { manager_->uploadSQM(); }});
  schedule.addTarget({[this] { queue().uploadRecord(); }});
  schedule_ = &schedule;
  schedule.start();
  if (timers) {
    runStandingClock(schedule, *timers, seconds);
  } else {
    host_.runLoop().runUntil([] { return false; }, limitOf(seconds));
  }
  schedule_ = nullptr;
  abortUploads();
  return schedule.uploads();
}

/// Moves the clock from one timer to the next. No time passes while an upload runs.
void Player::runStandingClock(const sqm::delivery::UploadSchedule& schedule, StandingTimers& timers, double seconds) {
  const auto secondsUntil = [&](sqm::Date at) { return std::chrono::duration<double>(at - clock()->date()).count(); };
  StandingClock end = *clock();
  end.advance(seconds);
  for (;;) {
    if (!host_.runLoop().runUntil([&] { return !schedule.isUploading(); }, limitOf(kDefaultTimeout))) abortUploads();
    const auto next = timers.next();
    if (!next || *next > end.date()) break;
    clock()->advance(secondsUntil(*next));
    timers.runNext();
  }
  clock()->advance(secondsUntil(end.date()));
}

void Player::abortUploads() {
  finish(0, [this] {
    managerTransaction_->abortTransaction();
    if (queueTransaction_ != nullptr) queueTransaction_->abortTransaction();
  });
}

Player::Names Player::finish(double timeoutSeconds, const std::function<void()>& abort) {
  constexpr milliseconds kAbortTime = 100ms;
  bool isIdle = host_.runUntilIdle(limitOf(timeoutSeconds));
  // A response that arrived meanwhile may have started the next request.
  while (!isIdle) {
    abort();
    isIdle = host_.runUntilIdle(kAbortTime);
  }
  return std::exchange(notifications_, {});
}

}  // namespace sqmctl::play
