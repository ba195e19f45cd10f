#include "sqm/platform/StandardHost.h"

#include <utility>

#include "sqm/common/NotificationCenter.h"
#include "sqm/platform/ArchiveFiles.h"
#include "sqm/platform/FileOperations.h"
#include "sqm/platform/FileProblems.h"
#include "sqm/platform/GzipBase64.h"
#include "sqm/platform/HomeFolders.h"
#include "sqm/platform/IcuDates.h"
#include "sqm/platform/IcuLocale.h"
#include "sqm/platform/JsonText.h"
#include "sqm/platform/LogFiles.h"
#include "sqm/platform/PreferencesFile.h"
#include "sqm/platform/PropertyListFiles.h"
#include "sqm/platform/ResourceFolder.h"
#include "sqm/platform/RuleFilter.h"
#include "sqm/platform/RunLoop.h"
#include "sqm/platform/StandardErrorConsole.h"
#include "sqm/platform/SystemClock.h"
#include "sqm/platform/SystemInformation.h"

namespace sqm::platform {

struct StandardHost::Services {
  explicit Services(const Options& options)
      : folders(options.homeDirectory),
        logs({.folder = folders.logFolder()}),
        propertyLists(logs, {.atomicSaves = options.atomicSaves}),
        archives(logs),
        resources(options.resourceDirectory),
        preferences(folders.applicationQuenfaFolderPath(), logs),
        http(options.mainThread == nullptr ? runLoop : *options.mainThread, notifications, logs, options.http) {}

  // In the order of use: what comes later borrows from what came before.
  RunLoop runLoop;
  NotificationCenter notifications;
  HomeFolders folders;
  LogFiles logs;
  PropertyListFiles propertyLists;
  ArchiveFiles archives;
  ResourceFolder resources;
  PreferencesFile preferences;
  SystemInformation system;
  SystemClock clock;
  IcuDates dates;
  IcuLocale locale;
  JsonText json;
  GzipBase64 compressor;
  RuleFilter filter;
  StandardErrorConsole console;
  HttpClient http;
};

StandardHost::StandardHost() : StandardHost(Options{}) {}

StandardHost::StandardHost(const Options& options) : services_(std::make_unique<Services>(options)) {
  httpTransactions = &services_->http;
  logFiles = &services_->logs;
  mainBundle = &services_->resources;
  mainThread = options.mainThread == nullptr ? &services_->runLoop : options.mainThread;
  notificationCenter = &services_->notifications;
  propertyLists = &services_->propertyLists;
  locale = &services_->locale;
  filterManager = &services_->filter;
  console = &services_->console;
  configuration = &services_->folders;
  userPrefs = &services_->preferences;
  utilities = &services_->system;
  clock = &services_->clock;
  dates = &services_->dates;
  serializer = &services_->archives;
  jsonWriter = &services_->json;
  compressor = &services_->compressor;
}

StandardHost::~StandardHost() = default;

bool StandardHost::makeFolders() {
  const std::string folder = services_->folders.applicationQuenfaFolderPath() + "/SQM";
  const std::error_code error = platform::makeFolders(FileOperations::posix(), folder);
  if (error) FileProblems(services_->logs).cannotWrite(folder, error.message());
  return !error;
}

bool StandardHost::runUntilIdle(std::chrono::milliseconds timeout) {
  return runLoop().runUntilIdle([this] { return services_->http.requestsUnderWay() == 0; }, timeout);
}

RunLoop& StandardHost::runLoop() { return services_->runLoop; }

PreferencesFile& StandardHost::preferences() { return services_->preferences; }

RuleFilter& StandardHost::filter() { return services_->filter; }

}  // namespace sqm::platform
