# Installs the libraries, their headers and a package that find_package(SQM) finds.

include(CMakePackageConfigHelpers)

set(SQM_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/SQM)
set(sqm_installed sqm_core sqm_testing)
if(NOT SQM_CORE_ONLY)
  list(APPEND sqm_installed sqm_platform sqm_sqm)
endif()

install(TARGETS ${sqm_installed} EXPORT SQMTargets)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/sqm DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h"
  PATTERN "internal" EXCLUDE)
install(EXPORT SQMTargets NAMESPACE sqm:: DESTINATION ${SQM_PACKAGE_DIR})
configure_package_config_file(cmake/SQMConfig.cmake.in ${PROJECT_BINARY_DIR}/SQMConfig.cmake
  INSTALL_DESTINATION ${SQM_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/SQMConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/SQMConfig.cmake ${PROJECT_BINARY_DIR}/SQMConfigVersion.cmake
  DESTINATION ${SQM_PACKAGE_DIR})
