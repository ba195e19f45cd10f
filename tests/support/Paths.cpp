#include "tests/support/Paths.h"

namespace paths {

std::string sources() { return SQM_SOURCE_DIR; }
std::string golden() { return SQM_SOURCE_DIR "/tests/golden"; }
std::string programs() { return SQM_PROGRAM_DIR; }
std::string build() { return SQM_BUILD_DIR; }
std::string cmake() { return SQM_CMAKE; }
std::string postgres() { return SQM_POSTGRES; }

}  // namespace paths
