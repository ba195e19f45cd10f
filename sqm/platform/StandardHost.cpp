#include "sqm/platform/StandardHost.h"

#include <utility>

#include "sqm/common/NotificationCenter.h"
#include "sqm/platform/RuleFilter.h"
#include "sqm/platform/files/ArchiveFiles.h"
#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/FileProblems.h"
#include "sqm/platform/files/LogFiles.h"
#include "sqm/platform/files/PreferencesFile.h"
#include "sqm/platform/files/PropertyListCoder.h"
#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/platform/files/SystemFiles.h"
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

namespace sqm::platform {

struct StandardHost::Services {
  explicit Services(const Options& options)
      : folders(options.homeDirectory),
        logs({.folder = folders.logFolder()}),
        problems(logs, options.onFileProblem),
        propertyLists(problems, {.atomicSaves = options.atomicSaves}),
        archives(problems),
        coders(problems),
        resources(options.resourceDirectory),
        preferences(folders.applicationQuenfaFolderPath(), problems),
        http(options.mainThread == nullptr ? runLoop : *options.mainThread, notifications, logs, options.http) {}

  // In the order of use: what comes later borrows from what came before.
  RunLoop runLoop;
  NotificationCenter notifications;
  HomeFolders folders;
  LogFiles logs;
  FileProblems problems;
  PropertyListFiles propertyLists;
  SystemFiles files;
  ArchiveFiles archives;
  PropertyListCoders coders;
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
  files = &services_->files;
  serializer = &services_->archives;
  keyedCoders = &services_->coders;
  jsonWriter = &services_->json;
  compressor = &services_->compressor;
}

StandardHost::~StandardHost() = default;

bool StandardHost::makeFolders() {
  const std::string folder = services_->folders.applicationQuenfaFolderPath() + "/SQM";
  const std::error_code error = platform::makeFolders(FileOperations::posix(), folder);
  if (error) services_->problems.cannotWrite(folder, error.message());
  return !error;
}

bool StandardHost::runUntilIdle(std::chrono::milliseconds timeout) {
  return runLoop().runUntilIdle([this] { return services_->http.requestsUnderWay() == 0; }, timeout);
}

RunLoop& StandardHost::runLoop() { return services_->runLoop; }

PreferencesFile& StandardHost::preferences() { return services_->preferences; }

RuleFilter& StandardHost::filter() { return services_->filter; }

}  // namespace sqm::platform
