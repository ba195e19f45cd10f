#pragma once

#include <string>

/// The folders of this build, all absolute.
namespace paths {

std::string sources();
std::string golden();    ///< tests/golden
std::string programs();  ///< the built programs
std::string build();     ///< the build tree
std::string cmake();     ///< the CMake program that configured it

}  // namespace paths
