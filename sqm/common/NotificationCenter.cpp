#include "sqm/common/NotificationCenter.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace sqm {

struct NotificationCenter::Registration::Observer {
  std::string name;
  const void* object;
  Handler handler;
  bool active = true;
};

struct NotificationCenter::Observers {
  using Observer = Registration::Observer;

  std::vector<std::shared_ptr<Observer>> list;

  std::vector<std::shared_ptr<Observer>> matching(std::string_view name, const void* object) {
    std::erase_if(list, [](const auto& observer) { return !observer->active; });
    std::vector<std::shared_ptr<Observer>> found;
    std::copy_if(list.begin(), list.end(), std::back_inserter(found), [&](const auto& observer) {
      return observer->name == name && (observer->object == nullptr || observer->object == object);
    });
    return found;
  }
};

NotificationCenter::Registration& NotificationCenter::Registration::operator=(Registration&& other) noexcept {
  if (this != &other) {
    reset();
    observer_ = std::move(other.observer_);
  }
  return *this;
}

void NotificationCenter::Registration::reset() {
  if (observer_) observer_->active = false;
  observer_.reset();
}

NotificationCenter::NotificationCenter() : observers_(std::make_unique<Observers>()) {}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Registration NotificationCenter::addObserver(std::string_view name, const void* object,
                                                                 Handler handler) {
  auto observer = std::make_shared<Registration::Observer>(
      Registration::Observer{std::string(name), object, std::move(handler), true});
  observers_->list.push_back(observer);
  return Registration(std::move(observer));
}

void NotificationCenter::postNotificationName(std::string_view name, const void* object) {
  const Notification notification{name, object};
  // A snapshot: it keeps a handler alive that removes itself while it runs.
  for (const auto& observer : observers_->matching(name, object)) {
    if (observer->active) observer->handler(notification);
  }
}

}  // namespace sqm
