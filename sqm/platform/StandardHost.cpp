#include "sqm/platform/StandardHost.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "sqm/common/NotificationCenter.h"
#include "sqm/delivery/Journal.h"
#include "sqm/platform/RuleFilter.h"
#include "sqm/platform/files/ArchiveFiles.h"
#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/FileProblems.h"
#include "sqm/platform/files/LogFiles.h"
#include "sqm/platform/files/PreferencesFile.h"
#include "sqm/platform/files/PropertyListCoder.h"
#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/platform/files/SystemAppendFile.h"
#include "sqm/platform/files/SystemFiles.h"
#include "sqm/platform/files/internal/WithoutDisk.h"
#include "sqm/platform/system/HomeFolders.h"
#include "sqm/platform/system/ResourceFolder.h"
#include "sqm/platform/system/RunLoop.h"
#include "sqm/platform/system/StandardErrorConsole.h"
#include "sqm/platform/system/SystemClock.h"
#include "sqm/platform/system/SystemInformation.h"
#include "sqm/platform/text/GzipBase64.h"
#include "sqm/platform/text/IcuDates.h"
#include "sqm/platform/text/IcuLocale.h"
#include "sqm/platform/text/JsonText.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/sessionfiles/SQMStore.h"
#include "sqm/store/RecordTypes.h"

namespace sqm::platform {

namespace {

/// Makes the standard service unless the host has one.
template <typename Service, typename Standard, typename... Arguments>
void provide(Service*& service, std::optional<Standard>& standard, Arguments&&... arguments) {
  if (service == nullptr) service = &standard.emplace(std::forward<Arguments>(arguments)...);
}

HttpOptions httpOptionsOf(const StandardHost::Options& options) {
  HttpOptions http = options.http;
  if (!options.proof.header.empty()) http.keptHeaders.push_back(options.proof.header);
  return http;
}

/// A journal needs lists that are saved atomically.
PropertyListFiles::Saves savesOf(const StandardHost::Options& options) {
  using enum PropertyListFiles::Saves;
  if (options.atomicSaves || options.recording == delivery::Recording::survivesPowerLoss) return atomic;
  return options.recording == delivery::Recording::survivesCrash ? renamed : inPlace;
}

}  // namespace

struct StandardHost::Services {
  Services(Host& host, const Options& options) {
    if (host.mainThread == nullptr) host.mainThread = &runLoop;
    if (host.filterManager == nullptr) host.filterManager = &filter;
    provide(host.notificationCenter, notifications);
    provide(host.clock, clock);
    provide(host.configuration, folders, options.homeDirectory);
    const std::string logFolder = HomeFolders(host.configuration->homeDirectory()).logFolder();
    provide(host.logFiles, logs, LogFiles::Options{.folder = logFolder, .textSize = options.logTextLimit});
    problems.emplace(*host.logFiles, options.onFileProblem);
    if (options.lockWithin) lock.emplace(sqmFolderPath(*host.configuration), *options.lockWithin, *problems);
    provide(host.files, systemFiles);
    provide(host.propertyLists, propertyLists, *problems, PropertyListFiles::Options{.saves = savesOf(options)});
    if (options.recording != delivery::Recording::asRequired) makeJournal(host, options);
    if (options.counting != Counting::off || options.limits) makeLedger(host, options);
    provide(host.serializer, archives, *problems);
    provide(host.keyedCoders, coders, *problems);
    if (!usesDisk()) withoutDisk.emplace(host, *problems);
    preferences.emplace(host.configuration->applicationQuenfaFolderPath(), *problems, FileOperations::posix(),
                        usesDisk() ? PreferencesFile::Access::readWrite : PreferencesFile::Access::readOnly);
    if (host.userPrefs == nullptr) host.userPrefs = &*preferences;
    provide(host.mainBundle, resources, options.resourceDirectory);
    provide(host.utilities, system);
    provide(host.dates, dates);
    provide(host.locale, locale);
    provide(host.jsonWriter, json);
    provide(host.compressor, compressor);
    provide(host.console, console);
    provide(host.httpTransactions, http, *host.mainThread, *host.notificationCenter, *host.logFiles,
            httpOptionsOf(options), options.onHttpExchange);
    decideOutcomes(host, options);
    if (options.consent) applyConsent(host, options);
  }

  void decideOutcomes(Host& host, const Options& options) {
    if (options.schedule) schedule.emplace(host, *options.schedule);
    const delivery::DeliveryObserver observer = observerOf(options);
    if (options.accept == delivery::Accept::anyStatus && !observer && !ledger && !options.consent) return;
    refused.emplace(host, options.refusedLimits,
                    [this, own = options.onRefusedDrop](const delivery::RefusedFile& file, delivery::DropReason reason,
                                                        std::uint64_t count) {
                      if (ledger) ledger->refusedBodyDropped(reason);
                      if (own) own(file, reason, count);
                    });
    outcomes.emplace(*host.httpTransactions, *host.notificationCenter, &*refused,
                     delivery::OutcomeRules{options.accept, options.proof}, observer);
    host.httpTransactions = &*outcomes;
  }

  delivery::DeliveryObserver observerOf(const Options& options) {
    if (!schedule) return options.onDelivery;
    return [this, own = options.onDelivery](const delivery::Delivery& delivery) {
      if (own) own(delivery);
      schedule->exchangeEnded(delivery);
    };
  }

  bool usesDisk() const { return !lock || lock->state() == FolderLock::State::owned; }

  std::unique_ptr<AppendFile> appendFile(const std::string& path, SystemAppendFile::Options options = {}) const {
    if (!usesDisk()) return std::make_unique<NoAppendFile>();
    return std::make_unique<SystemAppendFile>(path, std::move(options));
  }

  static std::string pathInSqmFolder(const Host& host, std::string_view file) {
    return sqmFolderPath(*host.configuration) + "/" + std::string(file);
  }

  /// Reports what is wrong with a file.
  std::function<void(const std::string& problem)> reporterOf(const std::string& path) {
    return [this, path](const std::string& problem) { problems->cannotWrite(path, problem); };
  }

  void makeLedger(Host& host, const Options& options) {
    const std::string path = pathInSqmFolder(host, delivery::kStatisticsFile);
    const bool isKept = options.counting == Counting::kept || options.limits;
    ledger.emplace(
        isKept ? appendFile(path) : nullptr, host, host.recordJournal,
        delivery::RecordLedger::Options{.limits = options.limits.value_or(delivery::Limits{}),
                                        .synced = options.recording == delivery::Recording::survivesPowerLoss,
                                        .outcome = [this] { return outcomes ? outcomes->reported() : std::nullopt; },
                                        .onDrop = options.onDrop,
                                        .onProblem = reporterOf(path)});
    host.recordJournal = &*ledger;
    host.queueRules = &*ledger;
  }

  void applyConsent(Host& host, const Options& options) {
    delivery::UserConsent::Options consentOptions = {
        .initial = *options.consent,
        .sessionFolders = options.sessionFolders,
        .isSessionFile = isSqmFileName,
        .setMaySend = [this](bool maySend) { outcomes->setMaySend(maySend); }};
    std::vector<std::string>& files = consentOptions.files;
    for (const RecordType type : kRecordTypes) files.push_back(listFilePath(*host.configuration, type));
    files.push_back(pathInSqmFolder(host, delivery::kJournalFile));
    files.push_back(delivery::refusedFolderPath(*host.configuration));
    files.push_back(QFRecordUploader::archivePath(*host.configuration));
    consentOptions.sessionFolders.push_back(sqmFolderPath(*host.configuration));
    if (logs) {
      consentOptions.logFolder = HomeFolders(host.configuration->homeDirectory()).logFolder();
      consentOptions.setMayLog = [this](bool mayLog) { logs->setMayLog(mayLog); };
    }
    consent.emplace(host, host.recordJournal, host.queueRules, std::move(consentOptions));
    host.recordJournal = &*consent;
    host.queueRules = &*consent;
  }

  void makeJournal(Host& host, const Options& options) {
    const std::string path = pathInSqmFolder(host, delivery::kJournalFile);
    provide(host.recordJournal, journal, appendFile(path, {.syncWithin = options.syncWithin}), *host.clock,
            delivery::Journal::Options{.synced = options.recording == delivery::Recording::survivesPowerLoss,
                                       .onProblem = reporterOf(path)});
  }

  /// Uploads what the schedule and then each of `targets` has. Returns false when the time was too short.
  bool uploadLast(const Host& host, const std::vector<UploadTarget>& targets, std::chrono::milliseconds timeout) {
    using std::chrono::milliseconds;
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const auto rest = [&] {
      return std::max(timeout, milliseconds(0)) - std::chrono::floor<milliseconds>(Clock::now() - start);
    };
    const auto isIdle = [&] {
      return host.httpTransactions->requestsUnderWay() == 0 && !(schedule && schedule->isUploading());
    };
    const auto isEmpty = [](const UploadTarget& target) { return target.waiting && target.waiting() == 0; };
    // Starts an upload and waits for its end.
    const auto upload = [&](const auto& begin, const std::function<bool()>& hasEnded) {
      if (rest() <= milliseconds(0)) return false;
      begin();
      return runLoop.runUntilIdle(hasEnded, rest());
    };
    if (!runLoop.runUntilIdle(isIdle, rest())) return false;
    const bool isScheduled = schedule && !std::ranges::all_of(schedule->targets(), isEmpty);
    if (isScheduled && !upload([&] { schedule->uploadLast(); }, isIdle)) return false;
    return std::ranges::all_of(targets, [&](const UploadTarget& target) {
      return isEmpty(target) || upload(target.start, target.isIdle ? target.isIdle : isIdle);
    });
  }

  // In the order of use: a service may use those above it.
  RunLoop runLoop;
  RuleFilter filter;
  std::optional<NotificationCenter> notifications;
  std::optional<SystemClock> clock;
  std::optional<HomeFolders> folders;
  std::optional<LogFiles> logs;
  std::optional<FileProblems> problems;
  std::optional<FolderLock> lock;
  std::optional<SystemFiles> systemFiles;
  std::optional<PropertyListFiles> propertyLists;
  std::optional<delivery::Journal> journal;
  std::optional<delivery::RecordLedger> ledger;
  std::optional<ArchiveFiles> archives;
  std::optional<WithoutDisk> withoutDisk;
  std::optional<PropertyListCoders> coders;
  std::optional<PreferencesFile> preferences;
  std::optional<ResourceFolder> resources;
  std::optional<SystemInformation> system;
  std::optional<IcuDates> dates;
  std::optional<IcuLocale> locale;
  std::optional<JsonText> json;
  std::optional<GzipBase64> compressor;
  std::optional<StandardErrorConsole> console;
  std::optional<HttpClient> http;
  std::optional<delivery::RefusedBodies> refused;
  std::optional<delivery::OutcomeTransactions> outcomes;
  std::optional<delivery::UploadSchedule> schedule;
  std::optional<delivery::UserConsent> consent;
};

StandardHost::Options StandardHost::Options::recommended() {
  constexpr auto kAge = std::chrono::days(30);
  Options options;
  options.recording = delivery::Recording::survivesCrash;
  options.atomicSaves = true;
  options.accept = delivery::Accept::only2xx;
  options.limits = delivery::Limits::ofEach({.records = 10'000, .bytes = std::uint64_t{16} << 20, .age = kAge});
  options.refusedLimits.age = kAge;
  options.schedule.emplace();
  return options;
}

StandardHost::StandardHost() : StandardHost(Options{}) {}

StandardHost::StandardHost(const Options& options)
    : Host(options.services), services_(std::make_unique<Services>(*this, options)) {}

StandardHost::~StandardHost() = default;

bool StandardHost::makeFolders() {
  for (const std::string& folder : {configuration->applicationQuenfaFolderPath(), sqmFolderPath(*configuration)}) {
    const std::error_code error = platform::makeFolders(FileOperations::posix(), folder);
    if (!error) continue;
    services_->problems->cannotWrite(folder, error.message());
    return false;
  }
  return true;
}

bool StandardHost::runUntilIdle(std::chrono::milliseconds timeout) {
  return runLoop().runUntilIdle([this] { return httpTransactions->requestsUnderWay() == 0; }, timeout);
}

std::optional<FolderLock::State> StandardHost::folderLock() const {
  return services_->lock ? std::optional(services_->lock->state()) : std::nullopt;
}

StandardHost::Remainder StandardHost::shutDown(std::chrono::milliseconds timeout,
                                               const std::vector<UploadTarget>& targets) {
  std::vector<UploadTarget> all = schedule() == nullptr ? std::vector<UploadTarget>() : schedule()->targets();
  all.insert(all.end(), targets.begin(), targets.end());
  Remainder left;
  left.isCutOff = mainThread == &runLoop() ? !services_->uploadLast(*this, targets, timeout)
                                           : httpTransactions->requestsUnderWay() > 0;
  if (schedule() != nullptr) schedule()->stop();
  if (services_->http) services_->http->stop();
  for (const UploadTarget& target : all) {
    if (target.save) target.save();
    left.waiting.push_back(target.waiting ? target.waiting() : 0);
  }
  return left;
}

RunLoop& StandardHost::runLoop() { return services_->runLoop; }

PreferencesFile& StandardHost::preferences() { return *services_->preferences; }

RuleFilter& StandardHost::filter() { return services_->filter; }

delivery::UploadSchedule* StandardHost::schedule() { return services_->schedule ? &*services_->schedule : nullptr; }

delivery::DeliveryStatistics StandardHost::statistics() const {
  return services_->ledger ? services_->ledger->statistics() : delivery::DeliveryStatistics{};
}

delivery::UserConsent* StandardHost::consent() { return services_->consent ? &*services_->consent : nullptr; }

}  // namespace sqm::platform
