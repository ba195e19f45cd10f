#include "tests/platform/http/FakeResolver.h"

#include <chrono>
#include <condition_variable>
#include <dlfcn.h>
#include <mutex>
#include <netdb.h>
#include <string_view>

#include "tests/support/Patience.h"

namespace sqm::tests {

namespace {

/// Never destroyed: a look-up may outlive the test that started it.
struct Lookups {
  std::mutex mutex;
  std::condition_variable changed;
  std::size_t blocked = 0;
  bool released = false;
};

Lookups& lookups() {
  static auto* const kLookups = new Lookups;
  return *kLookups;
}

void block() {
  Lookups& all = lookups();
  std::unique_lock lock(all.mutex);
  all.released = false;
  ++all.blocked;
  all.changed.notify_all();
  all.changed.wait_for(lock, kPatience, [&] { return all.released; });
  --all.blocked;
  all.changed.notify_all();
}

}  // namespace

bool waitForBlockedLookUp() {
  Lookups& all = lookups();
  std::unique_lock lock(all.mutex);
  return all.changed.wait_for(lock, kPatience, [&] { return all.blocked > 0; });
}

bool lookUpIsBlocked() {
  Lookups& all = lookups();
  const std::lock_guard lock(all.mutex);
  return all.blocked > 0;
}

void releaseBlockedLookUps() {
  Lookups& all = lookups();
  std::unique_lock lock(all.mutex);
  all.released = true;
  all.changed.notify_all();
  all.changed.wait_for(lock, kPatience, [&] { return all.blocked == 0; });
}

}  // namespace sqm::tests

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* req, addrinfo** pai) {
  const std::string_view wanted = name == nullptr ? "" : name;
  if (wanted == sqm::tests::kBlockedName) sqm::tests::block();
  if (wanted.ends_with(".invalid")) return EAI_NONAME;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): POSIX allows it for the result of dlsym
  static const auto kSystem = reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
  return kSystem(name, service, req, pai);
}
