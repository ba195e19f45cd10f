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
  std::uint64_t number;  // rises with each registration

  bool wants(const Notification& notification) const {
    return name == notification.name && (object == nullptr || object == notification.object);
  }
};

/// Every observer belongs to its registration; the center sees who is left.
struct NotificationCenter::Observers {
  using Observer = Registration::Observer;

  std::mutex mutex;
  std::vector<std::weak_ptr<Observer>> list;  // in the order of their numbers
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

  /// The first that wants the notification and has a number above `after`, up to `last`; null when there is none.
  std::shared_ptr<Observer> next(const Notification& notification, std::uint64_t after, std::uint64_t last) {
    const std::lock_guard lock(mutex);
    for (const auto& each : list) {
      auto observer = each.lock();
      if (observer && observer->number > after && observer->number <= last && observer->wants(notification)) {
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
  const auto observers = observers_;  // a handler may destroy this center
  const std::uint64_t last = observers->newestNumber();
  std::uint64_t after = 0;
  // Who is gone by then is not called; who removes itself lives until its handler returns.
  while (const auto observer = observers->next(notification, after, last)) {
    after = observer->number;
    observer->handler(notification);
  }
}

}  // namespace sqm
