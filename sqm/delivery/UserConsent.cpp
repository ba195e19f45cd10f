#include "sqm/delivery/UserConsent.h"

#include <algorithm>
#include <utility>

#include "sqm/common/NotificationCenter.h"

namespace sqm::delivery {

namespace {

// The format of the file. Not to be changed: files of older versions are read.
constexpr std::string_view kFirstLine = "SQM user consent 1\n";

constexpr struct ConsentName {
  Consent consent;
  std::string_view name;
} kNames[] = {{Consent::granted, "granted"}, {Consent::withheld, "withheld"}, {Consent::revoked, "revoked"}};

bool isAny(std::string_view /*name*/) { return true; }

/// "NAME.log", or "NAME.log.1" and so on for an earlier one.
bool isLogFile(std::string_view name) {
  constexpr std::string_view kDigits = "0123456789";
  const std::size_t last = name.find_last_not_of(kDigits);
  if (last == std::string_view::npos) return false;
  if (last + 1 < name.size() && name[last] == '.') name = name.substr(0, last);
  return name.ends_with(".log");
}

void keepFirst(std::error_code& first, const std::error_code& problem) {
  if (!first && problem != std::errc::no_such_file_or_directory) first = problem;
}

/// Removes the entries of a folder that `isWanted` and whose names begin with `prefix`.
std::error_code removeEntries(Files& files, const std::string& folder, Files::NameTest isWanted,
                              std::string_view prefix = {}) {
  std::vector<Files::Entry> entries;
  std::error_code first;
  keepFirst(first, files.list(folder, isWanted, entries));
  for (const Files::Entry& entry : entries) {
    if (entry.name.starts_with(prefix)) keepFirst(first, files.remove(folder + "/" + entry.name));
  }
  return first;
}

}  // namespace

std::string_view nameOf(Consent consent) { return findRow(kNames, &ConsentName::consent, consent)->name; }

std::optional<Consent> consentNamed(std::string_view name) {
  for (const auto& row : kNames) {
    if (row.name == name) return row.consent;
  }
  return std::nullopt;
}

std::optional<Consent> savedConsentOf(std::string_view text) {
  if (!text.starts_with(kFirstLine) || !text.ends_with('\n')) return std::nullopt;
  text.remove_prefix(kFirstLine.size());
  return text.empty() ? std::nullopt : consentNamed(text.substr(0, text.size() - 1));
}

std::string consentPath(const TrelkConfiguration& configuration) {
  return configuration.applicationQuenfaFolderPath() + "/UserConsent.txt";
}

UserConsent::UserConsent(Host& host, RecordJournal* journal, UploadQueueRules* queueRules, Options options)
    : host_(host), journal_(journal), queueRules_(queueRules), options_(std::move(options)), value_(options_.initial) {
  std::string text;
  const std::error_code problem = host_.files->read(consentPath(*host_.configuration), text);
  if (problem != std::errc::no_such_file_or_directory) {
    value_ = problem ? Consent::withheld : savedConsentOf(text).value_or(Consent::withheld);
  }
  apply();
  if (value_ == Consent::revoked) static_cast<void>(removeStored());
}

std::error_code UserConsent::set(Consent value) {
  std::error_code first;
  keepFirst(first, host_.files->replace(consentPath(*host_.configuration), {kFirstLine, nameOf(value), "\n"}));
  value_ = value;
  apply();
  if (value != Consent::revoked) return first;
  keepFirst(first, removeStored());
  // The store and the queue remove what they have in memory, and write what is left: nothing.
  host_.notificationCenter->postNotificationName(kKeptRecordsChangedNotification, this);
  return first;
}

void UserConsent::apply() {
  if (options_.setMaySend) options_.setMaySend(value_ == Consent::granted);
  if (options_.setMayLog) options_.setMayLog(value_ != Consent::revoked);
}

std::error_code UserConsent::removeStored() {
  Files& files = *host_.files;
  std::error_code first;
  for (const std::string& path : options_.files) {
    const std::size_t separator = path.rfind('/');
    keepFirst(first,
              removeEntries(files, path.substr(0, separator), isAny, std::string_view(path).substr(separator + 1)));
  }
  for (const std::string& folder : options_.sessionFolders) {
    keepFirst(first, removeEntries(files, folder, options_.isSessionFile));
  }
  if (!options_.logFolder.empty()) keepFirst(first, removeEntries(files, options_.logFolder, isLogFile));
  return first;
}

// The lists.

bool UserConsent::mayStore() const {
  return value_ != Consent::revoked && (journal_ == nullptr || journal_->mayStore());
}

Surplus UserConsent::surplusOf(Lists lists, RecordType type) {
  if (value_ == Consent::revoked) return {lists[indexOf(type)].size(), Removal::consent};
  return journal_ == nullptr ? Surplus() : journal_->surplusOf(lists, type);
}

void UserConsent::listsLoaded(std::span<TextArray> lists) {
  if (journal_ != nullptr) journal_->listsLoaded(lists);
}

void UserConsent::recordStored(Lists lists, RecordType type) {
  if (journal_ != nullptr) journal_->recordStored(lists, type);
}

void UserConsent::recordsRemoved(Lists lists, RecordType type, std::size_t count, Removal why) {
  if (journal_ != nullptr) journal_->recordsRemoved(lists, type, count, why);
}

void UserConsent::saveBegins(Lists lists) {
  if (journal_ != nullptr) journal_->saveBegins(lists);
}

void UserConsent::saveEnds(Lists lists, const ByType<bool>& written) {
  if (journal_ != nullptr) journal_->saveEnds(lists, written);
}

// The queue.

bool UserConsent::mayQueue() const {
  return value_ != Consent::revoked && (queueRules_ == nullptr || queueRules_->mayQueue());
}

void UserConsent::queueLoaded(UploadRequests& queue) {
  if (value_ == Consent::revoked) queue.clear();
  if (queueRules_ != nullptr) queueRules_->queueLoaded(queue);
}

void UserConsent::requestQueued(UploadRequests& queue, bool isSending) {
  if (queueRules_ != nullptr) queueRules_->requestQueued(queue, isSending);
}

void UserConsent::requestPosted(const UploadRequests& queue) {
  if (queueRules_ != nullptr) queueRules_->requestPosted(queue);
}

void UserConsent::rulesChanged(UploadRequests& queue) {
  if (value_ == Consent::revoked) queue.clear();
  if (queueRules_ != nullptr) queueRules_->rulesChanged(queue);
}

}  // namespace sqm::delivery
