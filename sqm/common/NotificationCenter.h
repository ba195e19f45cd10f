#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace sqm {

/// The argument of a handler: the notification's name and the object that posted it. Both are valid only inside the
/// handler.
struct Notification {
  std::string_view name;
  const void* object;
};

/// Delivers notifications inside the process, synchronously, to the observers of their name and sender.
///
/// Ownership: destroying a `Registration` removes its observer. The center may be destroyed before its registrations.
/// Threading: any thread may add an observer. Notifications are posted, and observers removed, on one thread, the one
/// that calls the manager. Handlers run on it, inside `postNotificationName`.
/// A handler may add and remove observers, its own included. A removed observer is not called any more; a new one is
/// called from the next notification on.
/// Failure: posting allocates no memory and does not throw by itself. An exception thrown by a handler ends the
/// delivery and propagates to the caller of `postNotificationName`.
class NotificationCenter {
 public:
  using Handler = std::function<void(const Notification&)>;

  /// Owns the registration of one observer. Movable; empty after `reset` or a move.
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

  /// Calls `handler` for every notification `name` that `object` posts; a null `object` means any sender.
  [[nodiscard]] Registration addObserver(std::string_view name, const void* object, Handler handler);

  /// Calls the handlers that are registered for `name` and `object`, in the order of their registration.
  void postNotificationName(std::string_view name, const void* object);

 private:
  struct Observers;
  std::shared_ptr<Observers> observers_;
};

}  // namespace sqm
