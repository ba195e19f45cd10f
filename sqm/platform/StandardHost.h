#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sqm/common/Host.h"
#include "sqm/common/UploadTarget.h"
#include "sqm/delivery/Journal.h"
#include "sqm/delivery/Outcomes.h"
#include "sqm/delivery/RecordLedger.h"
#include "sqm/delivery/RefusedBodies.h"
#include "sqm/delivery/UploadSchedule.h"
#include "sqm/delivery/UserConsent.h"
#include "sqm/platform/files/FileProblems.h"
#include "sqm/platform/files/FolderLock.h"
#include "sqm/platform/http/HttpClient.h"

namespace sqm::platform {

class PreferencesFile;
class RuleFilter;
class RunLoop;

/// A host with every service that the library needs, on this machine. The application makes one and passes it to the
/// library's objects. To replace a service, name your own in `Options::services`, so that the other services use it,
/// too; or set the member of `Host` before the first object of the library is made, so that only the library uses it.
///
/// Ownership: owns the standard services. Must outlive the objects that were given it.
/// Threading: made, used and destroyed on the main thread.
/// Failure: only `makeFolders`, setting preferences, opening logs and the delivery options create files or folders.
class StandardHost : public Host {
 public:
  enum class Counting : std::uint8_t {
    off,
    inMemory,  ///< since the host was made
    kept,      ///< since the SQM folder was made
  };

  struct Options {
    /// What a new application should begin with: a record survives the end of the process, lists are saved atomically,
    /// only a status from 200 to 299 delivers, what is kept is bounded (of each kind 10,000 records, 16 MiB and 30
    /// days), and there is a schedule, which begins when the application starts it.
    static Options recommended();

    /// The user's home directory. Empty: that of the process's user.
    std::string homeDirectory;
    /// The folder of "SQMFieldNames.plist". Empty: the folder of the executable.
    std::string resourceDirectory;
    /// Writes every list to a temporary file, syncs and renames it, so that the file always holds the old list or the
    /// new one. Recommended; off, because lists are written in place unless the host asks otherwise.
    bool atomicSaves = false;
    /// Whether a journal keeps what was stored since the last save.
    delivery::Recording recording = delivery::Recording::asRequired;
    /// With `survivesPowerLoss`: zero for a record that is on the disk when the call returns, else the time within
    /// which it is: a loss of power loses at most the records of that time.
    std::chrono::milliseconds syncWithin{0};
    /// Locks the SQM folder, which is made where it is missing, so that one host at a time uses the files. The value is
    /// how long the constructor waits while another host has the lock. A host that does not get it works in memory: it
    /// loads nothing that could be sent, and writes nothing but the logs. Without a value there is no lock.
    std::optional<std::chrono::milliseconds> lockWithin;
    /// Bytes of one text in a log; what is beyond is left out, with a note. 0: texts are logged whole.
    std::size_t logTextLimit = std::size_t{64} * 1024;
    HttpOptions http;
    /// Called for each file that could not be read or written.
    FileProblemObserver onFileProblem;
    /// Called for each exchange of the standard HTTP client.
    HttpExchangeObserver onHttpExchange;

    // Which exchanges count as delivered; docs/delivery.md describes it. These apply to the HTTP service of the
    // application, too.

    /// Any status, unless the host asks otherwise: what a server answered with 404 or 500 is then deleted. `only2xx` is
    /// recommended.
    delivery::Accept accept = delivery::Accept::anyStatus;
    /// What a response must show to be the server's. Only with `only2xx`.
    delivery::Proof proof;
    /// How much is kept of what a server has refused. Only with `only2xx`.
    delivery::RefusedLimits refusedLimits;
    /// Called when a refused body is dropped for a newer one.
    delivery::RefusedDropObserver onRefusedDrop;
    /// Called with the outcome of each exchange.
    delivery::DeliveryObserver onDelivery;

    /// When uploads start; `StandardHost::schedule` is then the schedule. Without it the host starts each upload.
    std::optional<delivery::ScheduleOptions> schedule;

    // What is kept, and what the user allows; docs/delivery.md describes both.

    /// Whether what becomes of records is counted. With limits the counts are kept.
    Counting counting = Counting::off;
    /// What is kept of the lists and of the upload queue.
    std::optional<delivery::Limits> limits;
    /// Called when something was dropped. Only with counts.
    delivery::DropObserver onDrop;
    /// The user's consent while there is no choice of the user on the disk; `StandardHost::consent` then has the
    /// choice. Without it, everything is recorded and sent.
    std::optional<delivery::Consent> consent;
    /// Folders of `.sqm` files, which are removed when the consent is revoked, as are those of the SQM folder.
    std::vector<std::string> sessionFolders;

    /// Services of the application, which take the place of the standard ones. They must outlive the host. An
    /// application with an event loop of its own sets `mainThread` to an adapter.
    Host services;
  };

  StandardHost();
  explicit StandardHost(const Options& options);
  StandardHost(const StandardHost&) = delete;
  StandardHost& operator=(const StandardHost&) = delete;
  ~StandardHost();

  /// Makes the application's folder and the SQM folder of the current `configuration`, private to the user, where they
  /// are missing; the library itself never makes them. Returns false, with a line in the log, when one cannot be made.
  bool makeFolders();

  /// Runs the loop until `httpTransactions` has no request under way and no task waits that could start one, such as
  /// the next upload of the queue; or until `timeout` has passed. Returns true when no request is under way. For hosts
  /// whose main thread is `runLoop`.
  bool runUntilIdle(std::chrono::milliseconds timeout);

  /// Whether this host has the lock on the SQM folder. Nothing without `Options::lockWithin`.
  std::optional<FolderLock::State> folderLock() const;

  /// What is left after the end.
  struct Remainder {
    /// An upload was cut off, or was not started because the time was over.
    bool isCutOff = false;
    /// What each target still has: those of the schedule, then those of the call. 0 for one that does not say it.
    std::vector<std::size_t> waiting;

    bool isEmpty() const { return std::ranges::count(waiting, 0U) == std::ssize(waiting); }
  };

  /// The end. Waits for the upload that runs, uploads once more what then waits, and ends what `timeout` cuts off; then
  /// saves. Takes no longer than `timeout`, but for the saving. Afterwards the standard HTTP client sends nothing more,
  /// and the schedule starts nothing.
  ///
  /// The targets are those of the schedule and those given here, one after another; one where nothing waits is left
  /// out. An upload starts whatever the pauses of the schedule, unless a server has asked for one or an upload has
  /// failed within the smallest pause.
  ///
  /// For hosts whose main thread is `runLoop`; not from a function of a target. With another main thread nothing can be
  /// waited for: such a host starts its uploads and runs its loop itself while `requestsUnderWay` of `httpTransactions`
  /// is above zero, and then calls this function, which starts nothing.
  Remainder shutDown(std::chrono::milliseconds timeout, const std::vector<UploadTarget>& targets = {});

  // The standard services, also when another one takes their place.
  RunLoop& runLoop();
  PreferencesFile& preferences();
  RuleFilter& filter();

  /// The upload schedule, to which the host adds what is to be uploaded before it starts it. Null without
  /// `Options::schedule`.
  delivery::UploadSchedule* schedule();

  /// What became of the records. All zero without counts. Any thread.
  delivery::DeliveryStatistics statistics() const;

  /// The user's consent. Null without `Options::consent`.
  delivery::UserConsent* consent();

 private:
  struct Services;
  std::unique_ptr<Services> services_;
};

}  // namespace sqm::platform
