# Installs the libraries, their headers and a package that find_package(SQM) finds; and the programs, with their pages.

include(CMakePackageConfigHelpers)

# sqm_public_headers(<name> <regex>): the headers below sqm/ whose path matches belong to sqm::<name>. They are installed
# with it, and the target all_verify_interface_header_sets compiles each alone. A folder called internal stays inside.
file(GLOB_RECURSE sqm_headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/sqm/*.h)
list(FILTER sqm_headers EXCLUDE REGEX "/internal/")
function(sqm_public_headers name regex)
  list(FILTER sqm_headers INCLUDE REGEX "${regex}")
  list(TRANSFORM sqm_headers PREPEND ${PROJECT_SOURCE_DIR}/)
  target_sources(sqm_${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${sqm_headers})
  set_target_properties(sqm_${name} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
endfunction()

sqm_public_headers(core "^sqm/(common|records|store|upload|sessionfiles|queue|diagnostics|delivery|manager)/")
sqm_public_headers(testing "^sqm/testing/")
set(sqm_installed sqm_core sqm_testing)
if(NOT SQM_CORE_ONLY)
  sqm_public_headers(platform "^sqm/platform/")
  list(APPEND sqm_installed sqm_platform sqm_sqm)
endif()

if(TARGET sqm_c)
  # The C face: libsqm.so, sqm.h and what it includes.
  set(c_face ${PROJECT_SOURCE_DIR}/faces/c)
  file(GLOB c_headers CONFIGURE_DEPENDS ${c_face}/sqm-c/*.h)
  target_sources(sqm_c PUBLIC FILE_SET HEADERS BASE_DIRS ${c_face} FILES ${c_face}/sqm.h ${c_headers})
  set_target_properties(sqm_c PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
  list(APPEND sqm_installed sqm_c)
  # Relative to the file, so that an installation can be moved.
  file(RELATIVE_PATH SQM_C_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  configure_file(${c_face}/sqm-c.pc.in ${PROJECT_BINARY_DIR}/sqm-c.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/sqm-c.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

set(SQM_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/SQM)
install(TARGETS ${sqm_installed} EXPORT SQMTargets FILE_SET HEADERS)
install(EXPORT SQMTargets NAMESPACE sqm:: DESTINATION ${SQM_PACKAGE_DIR})
configure_package_config_file(cmake/SQMConfig.cmake.in ${PROJECT_BINARY_DIR}/SQMConfig.cmake
  INSTALL_DESTINATION ${SQM_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/SQMConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/SQMConfig.cmake ${PROJECT_BINARY_DIR}/SQMConfigVersion.cmake
  DESTINATION ${SQM_PACKAGE_DIR})

if(TARGET sqmctl)
  install(TARGETS sqmctl sqm-collector COMPONENT tools)
  install(FILES tools/sqmctl/sqmctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES tools/sqmctl/completion.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME sqmctl COMPONENT tools)
  install(FILES examples/SQMFieldNames.plist DESTINATION ${CMAKE_INSTALL_DATADIR}/sqm COMPONENT tools)
endif()
