#pragma once

/// Where the sources and the programs of this build lie.
namespace paths {

extern const char* const kSources;
extern const char* const kGolden;    ///< tests/golden
extern const char* const kPrograms;  ///< the folder of the programs
extern const char* const kBuild;     ///< the build tree
extern const char* const kCMake;     ///< the CMake that configured it

}  // namespace paths
