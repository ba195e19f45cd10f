#include "sqm/common/Host.h"

#include <atomic>

namespace sqm {

namespace {

std::atomic<Host*>& theInstalled() {
  static std::atomic<Host*> host = nullptr;
  return host;
}

}  // namespace

void Host::install(Host& host) { theInstalled() = &host; }

Host* Host::installed() { return theInstalled(); }

}  // namespace sqm
