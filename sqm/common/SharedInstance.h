#pragma once

#include <cstdint>
#include <limits>
#include <mutex>
#include <type_traits>
#include <utility>

namespace sqm {

/// The base of a class that has one object in the process: `class T : public SharedInstance<T>`, with private
/// constructors, a private destructor, and this class as its friend.
///
/// Ownership: the object is never destroyed, and `delete` on it does not compile; copy, retain and release have no
/// effect.
/// Threading: any thread; concurrent first calls create one object.
template <typename T>
class SharedInstance {
 public:
  SharedInstance(const SharedInstance&) = delete;
  SharedInstance& operator=(const SharedInstance&) = delete;

  /// Creates the object. Null when it exists already: there is never a second one.
  template <typename... Arguments>
  static T* alloc(Arguments&&... arguments) {
    Slot& slot = theSlot();
    const std::lock_guard lock(slot.mutex);
    return slot.instance == nullptr ? slot.make(std::forward<Arguments>(arguments)...) : nullptr;
  }

  T* copy() { return self(); }
  T* retain() { return self(); }
  T* autorelease() { return self(); }
  void release() {}
  std::uint64_t retainCount() const { return std::numeric_limits<std::uint64_t>::max(); }

 protected:
  SharedInstance() = default;
  ~SharedInstance() = default;

  /// The object, created by the first call.
  template <typename... Arguments>
  static T* shared(Arguments&&... arguments) {
    Slot& slot = theSlot();
    const std::lock_guard lock(slot.mutex);
    return slot.instance == nullptr ? slot.make(std::forward<Arguments>(arguments)...) : slot.instance;
  }

 private:
  struct Slot {
    std::mutex mutex;
    T* instance = nullptr;

    template <typename... Arguments>
    T* make(Arguments&&... arguments) {
      static_assert(!std::is_destructible_v<T>, "a shared instance has a private destructor");
      instance = new T(std::forward<Arguments>(arguments)...);
      return instance;
    }
  };

  static Slot& theSlot() {
    static Slot slot;
    return slot;
  }

  T* self() { return static_cast<T*>(this); }
};

}  // namespace sqm
