#include "faces/c/internal/Handles.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>
#include <unordered_map>

namespace sqm::c {

namespace {

struct Live {
  const char* kind;
  std::thread::id thread;
};

struct Registry {
  std::mutex mutex;
  std::unordered_map<const void*, Live> handles;
};

[[noreturn]] void fail(const HandleKind& kind, const char* what) {
  std::fprintf(stderr, "sqm: %s: %s\n", kind.name, what);
  std::abort();
}

const Live& find(const Registry& registry, const void* handle, const HandleKind& kind) {
  const auto found = registry.handles.find(handle);
  if (found == registry.handles.end()) fail(kind, "the handle was destroyed, or is none");
  if (std::strcmp(found->second.kind, kind.name) != 0) fail(kind, "the handle is of another kind");
  return found->second;
}

void checkThread(const Live& live, const HandleKind& kind, Use use) {
  if (use == Use::ownThread && live.thread != std::this_thread::get_id()) fail(kind, "used on the wrong thread");
}

}  // namespace

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): each thread has its own
constinit thread_local int InService::nesting = 0;

void handleMade(const void* handle, const HandleKind& kind) {
  auto& all = immortal<Registry>();
  const std::lock_guard lock(all.mutex);
  all.handles.insert_or_assign(handle, Live{kind.name, std::this_thread::get_id()});
}

void handleUsed(const void* handle, const HandleKind& kind, Use use) {
  auto& all = immortal<Registry>();
  const std::lock_guard lock(all.mutex);
  checkThread(find(all, handle, kind), kind, use);
}

void handleEnded(const void* handle, const HandleKind& kind) {
  auto& all = immortal<Registry>();
  const std::lock_guard lock(all.mutex);
  checkThread(find(all, handle, kind), kind, kind.use);
  if (InService::isInside() && !kind.isFreeInService) fail(kind, "destroyed inside a callback of a service");
  all.handles.erase(handle);
}

}  // namespace sqm::c
