#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace sqm {

/// What an observer is told: which notification, and who posted it. The name and the object are valid only inside the
/// handler.
struct Notification {
  std::string_view name;
  const void* object;
};

/// Delivers notifications inside the process, synchronously, to the observers that registered for their name and
/// sender.
///
/// Ownership: a registration ends with its `Registration`; the center may be destroyed before its registrations.
/// Threading: any thread may register. Notifications are posted, and registrations end, on one thread, the one that
/// drives the manager; handlers run on it, inside `postNotificationName`.
/// An observer may register, unregister or destroy itself and others inside a delivery: who is gone is not called any
/// more, who is new is called from the next notification on.
/// Failure: an exception that leaves a handler ends the delivery and reaches the poster.
class NotificationCenter {
 public:
  using Handler = std::function<void(const Notification&)>;

  /// Keeps one observer registered for as long as it lives. Movable; empty after `reset` or a move.
  class Registration {
   public:
    Registration() = default;
    Registration(Registration&&) noexcept = default;
    Registration& operator=(Registration&&) noexcept = default;
    void reset() { observer_.reset(); }

   private:
    friend class NotificationCenter;
    struct Observer;
    explicit Registration(std::shared_ptr<Observer> observer) : observer_(std::move(observer)) {}
    std::shared_ptr<Observer> observer_;
  };

  NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;
  ~NotificationCenter();

  /// Calls `handler` for every notification called `name` that `object` posts; a null `object` stands for any sender.
  [[nodiscard]] Registration addObserver(std::string_view name, const void* object, Handler handler);

  /// Calls the handlers that are registered for `name` from `object`, in the order of their registration. Needs no
  /// memory.
  void postNotificationName(std::string_view name, const void* object);

 private:
  struct Observers;
  std::shared_ptr<Observers> observers_;
};

}  // namespace sqm
