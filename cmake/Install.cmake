# Installs the libraries by components, their headers, what find_package(SQM) and pkg-config find; and the programs, with
# their pages.

include(CMakePackageConfigHelpers)

set(SQM_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/SQM)
set(SQM_COMPONENTS "") # what this build installs; each component comes after those that it needs

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

# sqm_component(<name> <target>...): these targets, and their headers, are the component of that name.
macro(sqm_component name)
  install(TARGETS ${ARGN} EXPORT SQM_${name} FILE_SET HEADERS)
  install(EXPORT SQM_${name} NAMESPACE sqm:: FILE SQM_${name}.cmake DESTINATION ${SQM_PACKAGE_DIR})
  list(APPEND SQM_COMPONENTS ${name})
endmacro()

# sqm_pkg_config(<name> DESCRIPTION <text> LIBS <flag>... [REQUIRES <module>...] [REQUIRES_PRIVATE <module>...])
function(sqm_pkg_config name)
  cmake_parse_arguments(PC "" "DESCRIPTION" "LIBS;REQUIRES;REQUIRES_PRIVATE" ${ARGN})
  foreach(field LIBS REQUIRES REQUIRES_PRIVATE)
    list(JOIN PC_${field} " " PC_${field})
  endforeach()
  # Relative to the file, so that an installation can be moved.
  file(RELATIVE_PATH to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  configure_file(cmake/pkgconfig.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

sqm_public_headers(core "^sqm/(common|records|store|upload|sessionfiles|queue|diagnostics|delivery|manager)/")
sqm_component(core sqm_core)
sqm_pkg_config(sqm-core DESCRIPTION "the core" LIBS -lsqm_core)

sqm_public_headers(testing "^sqm/testing/")
sqm_component(testing sqm_testing)

if(TARGET sqm_platform)
  sqm_public_headers(platform "^sqm/platform/")
  sqm_component(platform sqm_platform sqm_sqm)
  # Every client of a static library links these, and no client of a shared one.
  set(requires REQUIRES)
  if(BUILD_SHARED_LIBS)
    set(requires REQUIRES_PRIVATE)
  endif()
  sqm_pkg_config(sqm DESCRIPTION "the core and the platform" LIBS -lsqm_platform -pthread
    REQUIRES "sqm-core = ${PROJECT_VERSION}" ${requires} libcurl pugixml icu-i18n icu-uc libdeflate)
endif()

if(TARGET sqm_c)
  # libsqm.so, sqm.h and what it includes.
  set(c_face ${PROJECT_SOURCE_DIR}/faces/c)
  file(GLOB c_headers CONFIGURE_DEPENDS ${c_face}/sqm-c/*.h)
  target_sources(sqm_c PUBLIC FILE_SET HEADERS BASE_DIRS ${c_face} FILES ${c_face}/sqm.h ${c_headers})
  set_target_properties(sqm_c PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
  sqm_component(c sqm_c)
  sqm_pkg_config(sqm-c DESCRIPTION "from C" LIBS -lsqm)
endif()

if(TARGET sqm_objc)
  # libsqm-objc.so, sqm-objc.h and what it includes, of C too.
  set(objc_face ${PROJECT_SOURCE_DIR}/faces/objc)
  file(GLOB objc_headers CONFIGURE_DEPENDS ${objc_face}/sqm-objc/*.h)
  target_sources(sqm_objc PUBLIC FILE_SET HEADERS BASE_DIRS ${objc_face} FILES ${objc_face}/sqm-objc.h ${objc_headers})
  sqm_component(objc sqm_foundation sqm_objc)
endif()

configure_package_config_file(cmake/SQMConfig.cmake.in ${PROJECT_BINARY_DIR}/SQMConfig.cmake
  INSTALL_DESTINATION ${SQM_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/SQMConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/SQMConfig.cmake ${PROJECT_BINARY_DIR}/SQMConfigVersion.cmake
  DESTINATION ${SQM_PACKAGE_DIR})

if(TARGET sqmctl)
  install(TARGETS sqmctl sqm-collector COMPONENT tools)
  if(BUILD_SHARED_LIBS) # they need them, also where the component is installed alone
    install(TARGETS sqm_core sqm_platform LIBRARY COMPONENT tools NAMELINK_SKIP)
  endif()
  include(cmake/CollectorPage.cmake)
  install(FILES tools/sqmctl/sqmctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES tools/sqmctl/completion.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME sqmctl COMPONENT tools)
  install(FILES examples/SQMFieldNames.plist DESTINATION ${CMAKE_INSTALL_DATADIR}/sqm COMPONENT tools)
endif()
