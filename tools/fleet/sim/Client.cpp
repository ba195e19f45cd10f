#include "tools/fleet/sim/Client.h"

#include <utility>

#include "sqm/common/NotificationCenter.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/store/RecordTypes.h"

namespace fleet {

/// What a client has between its start and its end.
struct Client::Awake {
  Awake(const Surroundings& surroundings, ClientFiles& files, const Transactions::IdleObserver& onIdle, Day itsDay)
      : day(std::move(itsDay)),
        transactions(surroundings.host, notifications, surroundings.onAnswer, onIdle),
        host(surroundings.host) {
    host.notificationCenter = &notifications;
    host.httpTransactions = &transactions;
    host.propertyLists = &files;
    manager.emplace(host);
    for (const sqm::RecordTypeRow& row : sqm::kRecordTypeTable) {
      manager->setURL(row.type, surroundings.server + "/" + std::string(row.name));
    }
  }

  const Day day;
  std::size_t played = 0;  // events of the day
  sqm::NotificationCenter notifications;
  Transactions transactions;
  sqm::Host host;
  std::optional<sqm::SQMManager> manager;
};

Client::Client(const Surroundings& surroundings, std::uint32_t number, Transactions::IdleObserver onUploadEnd)
    : surroundings_(surroundings),
      number_(number),
      onUploadEnd_(std::move(onUploadEnd)),
      files_(surroundings.names),
      // Zones are within a day of GMT.
      day_(std::chrono::floor<std::chrono::days>(surroundings.period.begin).time_since_epoch() - std::chrono::days(2)) {
  findNextDay();
}

Client::~Client() = default;

/// Zones are within a day of GMT.
std::chrono::local_days Client::lastDay() const {
  return std::chrono::local_days(std::chrono::ceil<std::chrono::days>(surroundings_.period.end).time_since_epoch());
}

void Client::findNextDay() {
  next_.reset();
  while (!next_ && day_ < lastDay()) {
    const Day day = dayOf(surroundings_.world, number_, ++day_, surroundings_.period);
    if (!day.events.empty()) next_ = day.events.front().at;
  }
}

void Client::play() {
  if (!awake_) wake(dayOf(surroundings_.world, number_, day_, surroundings_.period));
  const Event event = awake_->day.events[awake_->played++];
  if (event.kind == Event::Kind::sleep) {
    awake_.reset();
    return findNextDay();
  }
  next_ = awake_->day.events[awake_->played].at;
  if (event.kind == Event::Kind::upload) return awake_->manager->uploadSQM();
  Recorder(surroundings_.world, *surroundings_.names).record(*awake_->manager, number_, awake_->day, event);
  surroundings_.truth.add(number_, awake_->day, event);
}

void Client::wake(Day day) { awake_ = std::make_unique<Awake>(surroundings_, files_, onUploadEnd_, std::move(day)); }

void Client::end() {
  awake_.reset();
  day_ = lastDay();
}

bool Client::isUploading() const { return awake_ && awake_->transactions.requestsUnderWay() > 0; }

void Client::uploadAgain() { awake_->manager->uploadSQM(); }

std::size_t Client::waiting() const { return awake_ ? awake_->manager->uploadTarget().waiting() : files_.records(); }

void Client::addUpload(Time at) {
  wake({.connections = {}, .events = {{at, Event::Kind::device}, {at, Event::Kind::upload}, {at, Event::Kind::sleep}}});
  next_ = at;
}

}  // namespace fleet
