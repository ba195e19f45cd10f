#include "sqm/records/SQM.h"

namespace sqm {

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): they are variables of the clients'.
std::int32_t NsqmRecType = 0;
std::int32_t NSSQMFields = 0;
std::int32_t NSSqmError = 0;
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace sqm
