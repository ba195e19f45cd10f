#include "sqm/common/NotificationCenter.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace sqm {

struct NotificationCenter::Registration::Observer {
  std::string name;
  const void* object;
  Handler handler;

  bool wants(std::string_view posted, const void* by) const {
    return name == posted && (object == nullptr || object == by);
  }
};

/// Every observer belongs to its registration; the center sees who is left.
struct NotificationCenter::Observers {
  using Observer = Registration::Observer;

  std::vector<std::weak_ptr<Observer>> list;

  void add(const std::shared_ptr<Observer>& observer) {
    std::erase_if(list, [](const auto& each) { return each.expired(); });
    list.push_back(observer);
  }

  std::vector<std::weak_ptr<Observer>> wanting(std::string_view name, const void* object) const {
    std::vector<std::weak_ptr<Observer>> found;
    std::copy_if(list.begin(), list.end(), std::back_inserter(found), [&](const auto& each) {
      const auto observer = each.lock();
      return observer && observer->wants(name, object);
    });
    return found;
  }
};

NotificationCenter::NotificationCenter() : observers_(std::make_unique<Observers>()) {}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Registration NotificationCenter::addObserver(std::string_view name, const void* object,
                                                                 Handler handler) {
  auto observer =
      std::make_shared<Registration::Observer>(Registration::Observer{std::string(name), object, std::move(handler)});
  observers_->add(observer);
  return Registration(std::move(observer));
}

void NotificationCenter::postNotificationName(std::string_view name, const void* object) {
  const Notification notification{name, object};
  for (const auto& each : observers_->wanting(name, object)) {
    // Who is gone by now is not called; who removes itself lives until its handler returns.
    if (const auto observer = each.lock()) observer->handler(notification);
  }
}

}  // namespace sqm
