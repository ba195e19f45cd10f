# What all targets of the project have in common.

# How the project's own code is compiled: every warning that helps, and the sanitizers asked for.
add_library(sqm_build_options INTERFACE)
target_compile_options(sqm_build_options INTERFACE
  -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wcast-qual -Wformat=2 -Wimplicit-fallthrough
  $<$<COMPILE_LANGUAGE:CXX>:-Wpedantic>
  $<$<COMPILE_LANGUAGE:CXX,OBJCXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wdeprecated-copy-dtor -Wold-style-cast>
  # Before version 13, GCC takes ordinary joining of strings for overlapping copies.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
  # Clang also warns about the copies of a class whose destructor is defaulted.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-deprecated-copy-with-dtor>
  $<$<BOOL:${SQM_WARNINGS_AS_ERRORS}>:-Werror>
)
if(SQM_SANITIZE)
  target_compile_options(sqm_build_options INTERFACE -fsanitize=${SQM_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  target_link_options(sqm_build_options INTERFACE -fsanitize=${SQM_SANITIZE})
endif()

# sqm_library(<name>): a library of the package, as the target sqm_<name> and as sqm::<name>. Static, or shared with
# BUILD_SHARED_LIBS: then its SONAME has the minor version, since that may change the C++ interface.
function(sqm_library name)
  add_library(sqm_${name})
  add_library(sqm::${name} ALIAS sqm_${name})
  set_target_properties(sqm_${name} PROPERTIES
    EXPORT_NAME ${name}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
    DEFINE_SYMBOL "" # the same flags for both kinds
  )
  target_include_directories(sqm_${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(sqm_${name} PUBLIC cxx_std_20)
  # A program linked with --gc-sections leaves out what it does not use.
  target_compile_options(sqm_${name} PRIVATE -ffunction-sections -fdata-sections)
  target_link_libraries(sqm_${name} PRIVATE $<BUILD_INTERFACE:sqm_build_options>)
  add_dependencies(programs sqm_${name})
endfunction()

# sqm_sources_for_size(<target> <source>...): adds sources of the calling folder that run seldom, or that mostly wait for the
# system. Inlined, their code would be nearly half of a small host.
function(sqm_sources_for_size target)
  target_sources(${target} PRIVATE ${ARGN})
  set_property(SOURCE ${ARGN} TARGET_DIRECTORY ${target} APPEND PROPERTY
    COMPILE_OPTIONS $<$<CONFIG:RelWithDebInfo,Release>:-Os>)
endfunction()

# sqm_program(<name> <source>...): a program in build/<preset>/bin that uses the library. It links what it uses, and its
# relocations in the short form that glibc reads since 2.36.
function(sqm_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE sqm::sqm sqm_build_options)
  target_link_options(${name} PRIVATE LINKER:--gc-sections LINKER:-z,pack-relative-relocs)
  add_dependencies(programs ${name})
endfunction()
