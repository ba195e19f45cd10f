#include "tests/support/Paths.h"

namespace paths {

const char* const kSources = SQM_SOURCE_DIR;
const char* const kGolden = SQM_SOURCE_DIR "/tests/golden";
const char* const kPrograms = SQM_PROGRAM_DIR;
const char* const kBuild = SQM_BUILD_DIR;
const char* const kCMake = SQM_CMAKE;

}  // namespace paths
