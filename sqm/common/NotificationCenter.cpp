#include "sqm/common/NotificationCenter.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace sqm {

struct NotificationCenter::Registration::Observer {
  std::string name;
  const void* object;
  Handler handler;
  std::uint64_t number;  // increases with each registration

  bool matches(const Notification& notification) const {
    return name == notification.name && (object == nullptr || object == notification.object);
  }
};

/// The observers are owned by their registrations. The center holds weak references.
struct NotificationCenter::Observers {
  using Observer = Registration::Observer;

  std::mutex mutex;
  std::vector<std::weak_ptr<Observer>> list;  // in ascending order of their numbers
  std::uint64_t newest = 0;

  void add(const std::shared_ptr<Observer>& observer) {
    const std::lock_guard lock(mutex);
    std::erase_if(list, [](const auto& each) { return each.expired(); });
    list.push_back(observer);
    observer->number = ++newest;
  }

  std::uint64_t newestNumber() {
    const std::lock_guard lock(mutex);
    return newest;
  }

  /// The first observer of the notification whose number is above `after` and at most `last`; null when there is none.
  std::shared_ptr<Observer> next(const Notification& notification, std::uint64_t after, std::uint64_t last) {
    const std::lock_guard lock(mutex);
    for (const auto& each : list) {
      auto observer = each.lock();
      if (observer && observer->number > after && observer->number <= last && observer->matches(notification)) {
        return observer;
      }
    }
    return nullptr;
  }
};

NotificationCenter::NotificationCenter() : observers_(std::make_shared<Observers>()) {}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Registration NotificationCenter::addObserver(std::string_view name, const void* object,
                                                                 Handler handler) {
  auto observer = std::make_shared<Registration::Observer>(
      Registration::Observer{std::string(name), object, std::move(handler), 0});
  observers_->add(observer);
  return Registration(std::move(observer));
}

void NotificationCenter::postNotificationName(std::string_view name, const void* object) {
  const Notification notification{name, object};
  const auto observers = observers_;  // keeps the list alive if a handler destroys this center
  const std::uint64_t last = observers->newestNumber();
  std::uint64_t after = 0;
  // The reference keeps an observer that removes itself alive until its handler returns.
  while (const auto observer = observers->next(notification, after, last)) {
    after = observer->number;
    observer->handler(notification);
  }
}

}  // namespace sqm
