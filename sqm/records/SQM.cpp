#include "sqm/records/SQM.h"

namespace sqm {

std::int32_t NsqmRecType = 0;
std::int32_t NSSQMFields = 0;
std::int32_t NSSqmError = 0;

}  // namespace sqm
