#include "sqm/common/Host.h"

#include <atomic>

namespace sqm {

namespace {

std::atomic<Host*> installedHost = nullptr;

}  // namespace

void Host::install(Host& host) { installedHost = &host; }

Host* Host::installed() { return installedHost; }

}  // namespace sqm
