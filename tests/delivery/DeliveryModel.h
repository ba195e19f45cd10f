#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "sqm/delivery/DeliveryStatistics.h"
#include "sqm/delivery/Limits.h"
#include "sqm/delivery/UserConsent.h"
#include "sqm/manager/UploadSequence.h"

namespace sqm::delivery::test {

/// Which policies a host has.
struct Policies {
  bool journal = false;
  bool outcomes = false;
  bool schedule = false;
  bool limits = false;
  bool consent = false;
};

/// What a host with these policies must have stored, must post and must count.
class DeliveryModel {
 public:
  struct Record {
    int number;
    std::size_t bytes;
    std::int64_t time;
  };
  using List = std::deque<Record>;

  DeliveryModel(const Policies& policies, const Limit& limit) : policies_(policies), limit_(limit) {}

  std::vector<int> numbers(RecordType type) const { return numbersOf(lists_[indexOf(type)]); }
  const DeliveryCounts& counts(RecordType type) const { return counts_[indexOf(type)]; }
  Consent consent() const { return consent_; }

  /// The type whose document is being posted, and the records in it.
  std::optional<RecordType> inFlight() const { return inFlight_; }
  std::vector<int> numbersInFlight() const {
    std::vector<int> numbers = numbersOf(lists_[indexOf(*inFlight_)]);
    numbers.resize(inDocument_[indexOf(*inFlight_)]);
    return numbers;
  }

  /// The files of the folder `Refused`.
  std::size_t refusedBodies() const { return refusedBodies_; }

  void record(RecordType type, const Record& record) {
    if (consent_ == Consent::revoked) return;
    lists_[indexOf(type)].push_back(record);
    ++counts_[indexOf(type)].accepted;
    bound(type, record.time);
  }

  void save(std::int64_t now) {
    boundAll(now);
    saved_ = lists_;
  }

  void startUpload(std::int64_t now) {
    boundAll(now);
    next(nextUploadStep(state_, UploadEvent::started));
  }

  /// The server has answered with this status; 0: it did not answer.
  void answer(int status) {
    const RecordType type = *std::exchange(inFlight_, std::nullopt);
    const bool isSuccess = status >= 200 && status <= 299;
    const bool isRetry = status == 0 || (policies_.outcomes && (status == 408 || status == 429 || status >= 500));
    if (isRetry) return;
    DeliveryCounts& counts = counts_[indexOf(type)];
    std::uint64_t& answered = policies_.outcomes && !isSuccess ? counts.refused : counts.delivered;
    if (policies_.outcomes && !isSuccess) ++refusedBodies_;
    answered += remove(type, inDocument_[indexOf(type)]);
    if (!policies_.journal) drop(type, lists_[indexOf(type)].size(), DropReason::unsent);
    next(nextUploadStep(state_, UploadEvent::succeeded));
  }

  void setConsent(Consent consent) {
    consent_ = consent;
    if (consent != Consent::revoked) return;
    inFlight_.reset();
    refusedBodies_ = 0;
    for (const RecordType type : kRecordTypes) drop(type, lists_[indexOf(type)].size(), DropReason::consent);
    saved_ = lists_;
  }

  /// The process ends without a save. What is counted then is not exact: the counts are taken over, and the times.
  void crash() {
    inFlight_.reset();
    state_ = UploadState::idle;
    if (!policies_.journal) lists_ = saved_;
  }
  void adopt(const DeliveryStatistics& statistics) { counts_ = statistics.lists; }

  /// The times may lack records that were dropped when the next process began.
  void adopt(const ByType<StoredTimes>& times) {
    for (const RecordType type : kRecordTypes) {
      List& list = lists_[indexOf(type)];
      auto record = list.rbegin();
      const std::deque<StoredTimes::Run>& runs = times[indexOf(type)].runs();
      for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
        for (std::uint64_t each = 0; each < run->count && record != list.rend(); ++each) (record++)->time = run->time;
      }
    }
  }

  void restart(std::int64_t now) {
    save(now);
    inFlight_.reset();
    state_ = UploadState::idle;
    boundAll(now);
  }

  /// After loading.
  void boundAll(std::int64_t now) {
    for (const RecordType type : kRecordTypes) bound(type, now);
  }

 private:
  static std::vector<int> numbersOf(const List& list) {
    std::vector<int> numbers;
    for (const Record& record : list) numbers.push_back(record.number);
    return numbers;
  }

  void next(const UploadStep& step) {
    const auto type = nextTypeOf(step, [this](RecordType each) { return !lists_[indexOf(each)].empty(); });
    if (!type) return;
    state_ = uploadStateOf(*type);
    if (!hasDocument(*type, !lists_[indexOf(*type)].empty())) return;  // a post without a body ends the upload
    if (consent_ != Consent::granted) return;
    inFlight_ = type;
    inDocument_[indexOf(*type)] = lists_[indexOf(*type)].size();
  }

  std::size_t remove(RecordType type, std::size_t count) {
    List& list = lists_[indexOf(type)];
    count = std::min(count, list.size());
    list.erase(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(count));
    return count;
  }

  void drop(RecordType type, std::size_t count, DropReason reason) {
    inDocument_[indexOf(type)] -= std::min(inDocument_[indexOf(type)], count);
    counts_[indexOf(type)].dropped[static_cast<std::size_t>(reason)] += remove(type, count);
  }

  std::uint64_t bytesOf(RecordType type) const {
    std::uint64_t bytes = 0;
    for (const Record& record : lists_[indexOf(type)]) bytes += record.bytes;
    return bytes;
  }

  void bound(RecordType type, std::int64_t now) {
    if (!policies_.limits) return;
    const List& list = lists_[indexOf(type)];
    while (!list.empty() && now - list.front().time > limit_.age->count()) drop(type, 1, DropReason::age);
    while (list.size() > *limit_.records) drop(type, 1, DropReason::records);
    while (bytesOf(type) > *limit_.bytes) drop(type, 1, DropReason::bytes);
  }

  Policies policies_;
  Limit limit_;
  ByType<List> lists_;
  ByType<List> saved_;
  ByType<DeliveryCounts> counts_{};
  ByType<std::size_t> inDocument_{};
  std::optional<RecordType> inFlight_;
  std::size_t refusedBodies_ = 0;
  UploadState state_ = UploadState::idle;
  Consent consent_ = Consent::granted;
};

}  // namespace sqm::delivery::test
