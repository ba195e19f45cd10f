#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "sqm/common/Files.h"
#include "sqm/common/Host.h"
#include "sqm/common/RecordJournal.h"
#include "sqm/common/TrelkConfiguration.h"
#include "sqm/common/UploadQueueRules.h"

namespace sqm::delivery {

/// What the user allows.
enum class Consent : std::uint8_t {
  granted,   ///< recording and sending
  withheld,  ///< recording; nothing is sent
  revoked,   ///< nothing: what was stored is removed
};

/// "granted", "withheld" or "revoked".
std::string_view nameOf(Consent consent);
std::optional<Consent> consentNamed(std::string_view name);

/// The file in the application's folder that keeps the user's choice: absolute.
std::string consentPath(const TrelkConfiguration& configuration);

/// The choice that the text of the file states. Nothing for any other text, which counts as withheld.
std::optional<Consent> savedConsentOf(std::string_view text);

/// Applies the user's consent, and keeps it over restarts.
///
/// It is the `recordJournal` and the `queueRules` of a host, in front of those that the host had, if any. While the
/// consent is not granted nothing is sent. When it is revoked, requests under way are aborted, what the library has
/// stored is removed from memory and from the disk, and nothing is recorded or logged until it is granted again.
///
/// Ownership: the host must outlive the object.
/// Threading: the main thread; the interfaces as they say.
/// Failure: by the results. A file of the choice that cannot be read or is damaged counts as withheld.
class UserConsent final : public RecordJournal, public UploadQueueRules {
 public:
  struct Options {
    /// While the user has not chosen.
    Consent initial = Consent::granted;
    /// The paths of what is removed; also of files beside them whose names begin with theirs, such as those that a
    /// crash has left.
    std::vector<std::string> files = {};
    /// Folders whose files that pass `isSessionFile` are removed.
    std::vector<std::string> sessionFolders = {};
    Files::NameTest isSessionFile = nullptr;
    /// The folder of the logs.
    std::string logFolder = {};
    /// Called with whether requests may be sent, and with whether lines may be logged.
    std::function<void(bool maySend)> setMaySend = {};
    std::function<void(bool mayLog)> setMayLog = {};
  };

  /// Reads the choice. When the consent is revoked, removes what is stored: the process that began may have ended.
  UserConsent(Host& host, RecordJournal* journal, UploadQueueRules* queueRules, Options options);

  Consent value() const { return value_; }

  /// The choice of the user. It applies at once. The result says why it cannot be kept, or what could not be removed.
  std::error_code set(Consent value);

  /// One more folder of session files.
  void addSessionFolder(std::string folder) { options_.sessionFolders.push_back(std::move(folder)); }

  bool mayStore() const override;
  Surplus surplusOf(Lists lists, RecordType type) override;
  bool keepsUnsent() const override { return journal_ != nullptr && journal_->keepsUnsent(); }
  void listsLoaded(std::span<TextArray> lists) override;
  void recordStored(Lists lists, RecordType type) override;
  void recordsRemoved(Lists lists, RecordType type, std::size_t count, Removal why) override;
  void saveBegins(Lists lists) override;
  void saveEnds(Lists lists, const ByType<bool>& written) override;

  bool mayQueue() const override;
  void queueLoaded(UploadRequests& queue) override;
  void requestQueued(UploadRequests& queue, bool isSending) override;
  void requestPosted(const UploadRequests& queue) override;
  void rulesChanged(UploadRequests& queue) override;

 private:
  void apply();
  std::error_code removeStored();

  Host& host_;
  RecordJournal* const journal_;
  UploadQueueRules* const queueRules_;
  Options options_;
  std::atomic<Consent> value_;
};

}  // namespace sqm::delivery
