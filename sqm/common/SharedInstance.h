#pragma once

#include <cstdint>
#include <limits>
#include <mutex>
#include <utility>

namespace sqm {

/// The base of a class that has one object in the process: `class T : public SharedInstance<T>`, with private
/// constructors and this class as its friend.
///
/// Ownership: the object is never destroyed; copy, retain and release leave it as it is.
/// Threading: any thread; concurrent first calls make one object.
template <typename T>
class SharedInstance {
 public:
  SharedInstance(const SharedInstance&) = delete;
  SharedInstance& operator=(const SharedInstance&) = delete;

  /// Makes the object, where there is none yet; otherwise null, so that nobody can make a second one.
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

  /// The object, made on the first call.
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
