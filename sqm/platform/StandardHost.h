#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "sqm/common/Host.h"
#include "sqm/platform/files/FileProblems.h"
#include "sqm/platform/http/HttpClient.h"

namespace sqm::platform {

class PreferencesFile;
class RuleFilter;
class RunLoop;

/// Every service that the library expects of its host, on this machine: a host application makes one and hands it to
/// the library's objects. To replace a service, point the member of `Host` at your own before the first of them is
/// made.
///
/// Ownership: owns its services. Outlives the objects that were given it.
/// Threading: made, used and destroyed on the main thread.
/// Failure: nothing is made on disk but by `makeFolders`, by preferences that are set, and by logs, whose files and
/// folder are made when the library's objects open them.
class StandardHost : public Host {
 public:
  struct Options {
    /// The user's home directory. Empty: the user's own.
    std::string homeDirectory;
    /// Where "SQMFieldNames.plist" lies. Empty: the folder of the executable.
    std::string resourceDirectory;
    /// Every list is written to a temporary file, synced and renamed, so that whatever happens the file is the old list
    /// or the new one. Recommended; off, because saves are in place unless the host says otherwise.
    bool atomicSaves = false;
    HttpOptions http;
    /// Called for each file that could not be read or written, besides the line in the log.
    FileProblemObserver onFileProblem;
    /// Where tasks for the main thread go: an adapter for the application's own event loop. Null: `runLoop`, which the
    /// application then runs. Outlives the host.
    MainThread* mainThread = nullptr;
  };

  StandardHost();
  explicit StandardHost(const Options& options);
  StandardHost(const StandardHost&) = delete;
  StandardHost& operator=(const StandardHost&) = delete;
  ~StandardHost();

  /// Makes the application's folder and the SQM folder of the current `configuration`, private to the user, where they
  /// are missing; the library itself never makes them. Returns false, with a line in the log, when one cannot be made.
  bool makeFolders();

  /// Runs the loop until no request is under way and no task waits that could begin one, such as the upload queue's
  /// next; or until the time is up. True when no request is under way.
  bool runUntilIdle(std::chrono::milliseconds timeout);

  RunLoop& runLoop();
  PreferencesFile& preferences();
  RuleFilter& filter();

 private:
  struct Services;
  std::unique_ptr<Services> services_;
};

}  // namespace sqm::platform
