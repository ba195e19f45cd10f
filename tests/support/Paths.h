#pragma once

#include <string>

/// The folders of this build and programs that its tests run, all absolute.
namespace paths {

std::string sources();
std::string golden();    ///< tests/golden
std::string programs();  ///< the built programs
std::string build();     ///< the build tree
std::string cmake();     ///< the CMake program that configured it
std::string postgres();  ///< the server of PostgreSQL, with which SQM_BUILD_FLEET is tested

}  // namespace paths
