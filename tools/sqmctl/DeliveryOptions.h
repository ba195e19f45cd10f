#pragma once

#include "sqm/platform/StandardHost.h"

#include "tools/sqmctl/Command.h"

namespace sqmctl {

/// Adds --recording, --accept and --limit to the program.
void addDeliveryOptions(CLI::App& program, Invocation& invocation);

/// The delivery options of a host for this invocation. The user's consent, where a choice is stored, applies.
void setDelivery(sqm::platform::StandardHost::Options& options, const Invocation& invocation);

}  // namespace sqmctl
