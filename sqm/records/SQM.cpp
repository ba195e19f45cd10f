#include "sqm/records/SQM.h"

namespace sqm {

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): clients may write them.
std::int32_t NsqmRecType = 0;
std::int32_t NSSQMFields = 0;
std::int32_t NSSqmError = 0;
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace sqm
