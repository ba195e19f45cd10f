#pragma once

#include <string>

#include "sqm/platform/http/HttpOptions.h"

namespace sqm::platform {

// Why something cannot be sent; empty when it can. The texts contain no secret.

/// Looks up the files that the options name.
std::string problemOf(const HttpOptions& options);

/// The header is one that the host adds.
std::string problemOf(const HttpHeader& header);

}  // namespace sqm::platform
