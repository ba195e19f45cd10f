#pragma once

#include <cstdint>
#include <string_view>

#include "sqm/common/SharedInstance.h"

namespace sqm {

/// The texts that application records carry for the client's VPN codes. The client asks for them before it sets the
/// session parameters.
///
/// Threading: any thread.
class SQMApplicationRecHelper : public SharedInstance<SQMApplicationRecHelper> {
 public:
  static SQMApplicationRecHelper* sharedSQMApplicationRecHelper() { return shared(); }

  std::string_view launchType(std::int32_t code) const;
  std::string_view connectionStatusCode(std::int32_t code) const;
  std::string_view connectionResult(std::int32_t code) const;
  std::string_view vpnDisconnectReasonCode(std::int32_t code) const;

 private:
  friend class SharedInstance<SQMApplicationRecHelper>;
  SQMApplicationRecHelper() = default;
  ~SQMApplicationRecHelper() = default;
};

}  // namespace sqm
