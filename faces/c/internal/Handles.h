#pragma once

#include <memory>
#include <string>
#include <utility>

#include "faces/c/internal/Errors.h"
#include "faces/c/sqm.h"

/// 1: a handle that is not alive, or is used on the wrong thread, ends the process with a message. On in debug builds.
#ifndef SQM_C_CHECKED
#ifdef NDEBUG
#define SQM_C_CHECKED 0
#else
#define SQM_C_CHECKED 1
#endif
#endif

namespace sqm::c {

/// An object of the process that is never destroyed: others use it until the process ends. An exception of its
/// constructor propagates, and the next call tries again.
template <typename Object>
Object& immortal() {
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): a reference, as its destructor would run
  static Object& object = *new Object;
  return object;
}

enum class Use { ownThread, anyThread };

/// A kind of handle: what messages call it, whether it belongs to the thread that made it, and whether it may be
/// destroyed inside a callback of a service.
struct HandleKind {
  const char* name;
  Use use;
  bool isFreeInService = false;
};

constexpr HandleKind kindOf(const sqm_options*) { return {"options", Use::anyThread}; }
constexpr HandleKind kindOf(const sqm_host*) { return {"host", Use::ownThread}; }
constexpr HandleKind kindOf(const sqm_observer*) { return {"observer", Use::ownThread, true}; }
constexpr HandleKind kindOf(const sqm_params*) { return {"params", Use::anyThread}; }
constexpr HandleKind kindOf(const sqm_manager*) { return {"manager", Use::ownThread}; }
constexpr HandleKind kindOf(const sqm_target*) { return {"target", Use::ownThread}; }
constexpr HandleKind kindOf(const sqm_record*) { return {"record", Use::ownThread}; }
constexpr HandleKind kindOf(const sqm_collector*) { return {"collector", Use::anyThread}; }
constexpr HandleKind kindOf(const sqm_uploader*) { return {"uploader", Use::ownThread}; }
constexpr HandleKind kindOf(const sqm_diagnostics*) { return {"diagnostics", Use::anyThread}; }
constexpr HandleKind kindOf(const sqm_http_request*) { return {"HTTP request", Use::ownThread, true}; }

// The live handles. A new handle at the address of a destroyed one of its kind is not told apart from it.
// Threading: any thread. Failure: `handleMade` throws std::bad_alloc; the others end the process with a message.
void handleMade(const void* handle, const HandleKind& kind);
void handleUsed(const void* handle, const HandleKind& kind, Use use);
void handleEnded(const void* handle, const HandleKind& kind);

/// While it exists, a callback of a service runs on this thread: what has called the service is in use.
class InService {
 public:
  InService() { nesting += 1; }
  ~InService() { nesting -= 1; }
  InService(const InService&) = delete;
  InService& operator=(const InService&) = delete;

  static bool isInside() { return nesting > 0; }

 private:
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): each thread has its own
  static constinit thread_local int nesting;
};

/// The object of a handle. Throws `Failure` for NULL.
template <typename Handle>
Handle& on(Handle* handle, Use use) {
  if (handle == nullptr) throw Failure(SQM_INVALID_ARGUMENT, std::string("the ") + kindOf(handle).name + " is NULL");
  if constexpr (SQM_C_CHECKED) handleUsed(handle, kindOf(handle), use);
  return *handle;
}

template <typename Handle>
Handle& on(Handle* handle) {
  return on(handle, kindOf(handle).use);
}

/// Makes an object for a caller. Its handle is null, and the last error says why, when that is not possible.
template <typename Handle, typename Make>
Handle* newHandle(Make&& make) noexcept {
  return valueOr<Handle*>(nullptr, [&] {
    std::unique_ptr<Handle> handle = std::forward<Make>(make)();
    if constexpr (SQM_C_CHECKED) handleMade(handle.get(), kindOf(handle.get()));
    return handle.release();
  });
}

/// Ends a handle. Leaves the last error as it is, so that a program can release what it has before it reports it.
template <typename Handle>
void destroy(Handle* handle) noexcept {
  if (handle == nullptr) return;
  if constexpr (SQM_C_CHECKED) handleEnded(handle, kindOf(handle));
  try {
    delete handle;
  } catch (...) {
    keepError();
  }
}

}  // namespace sqm::c
