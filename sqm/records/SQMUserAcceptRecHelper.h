#pragma once

#include <cstdint>
#include <string_view>

#include "sqm/common/SharedInstance.h"

namespace sqm {

/// The texts that user-acceptance records carry for the client's kinds of prompt.
///
/// Threading: any thread.
class SQMUserAcceptRecHelper : public SharedInstance<SQMUserAcceptRecHelper> {
 public:
  static SQMUserAcceptRecHelper* sharedSQMUserAcceptRecHelper() { return shared(); }

  std::string_view alertMessageType(std::int32_t code) const;

 private:
  friend class SharedInstance<SQMUserAcceptRecHelper>;
  SQMUserAcceptRecHelper() = default;
  ~SQMUserAcceptRecHelper() = default;
};

}  // namespace sqm
