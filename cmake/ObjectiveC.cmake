# Objective-C: the compilers, which are those of C and C++, and Foundation. Included at the top: a language that is enabled
# below holds only there.
enable_language(C)
if(NOT DEFINED CMAKE_OBJC_COMPILER)
  set(CMAKE_OBJC_COMPILER ${CMAKE_C_COMPILER})
endif()
if(NOT DEFINED CMAKE_OBJCXX_COMPILER)
  set(CMAKE_OBJCXX_COMPILER ${CMAKE_CXX_COMPILER})
endif()
set(CMAKE_OBJCXX_COMPILER_LAUNCHER ${CMAKE_CXX_COMPILER_LAUNCHER})
enable_language(OBJC OBJCXX)
foreach(setting FLAG FLAG_SEP) # programs find the libraries of the build; CMake does not know it for GCC
  set(CMAKE_EXECUTABLE_RUNTIME_OBJC_${setting} ${CMAKE_EXECUTABLE_RUNTIME_C_${setting}})
endforeach()

# How sources in Objective-C are compiled, and what they are linked with.
add_library(sqm_foundation INTERFACE)
set_target_properties(sqm_foundation PROPERTIES EXPORT_NAME foundation)
if(APPLE)
  target_link_libraries(sqm_foundation INTERFACE "-framework Foundation")
else()
  find_path(SQM_GNUSTEP_INCLUDE Foundation/Foundation.h PATH_SUFFIXES GNUstep REQUIRED)
  find_library(SQM_GNUSTEP_BASE gnustep-base REQUIRED)
  target_include_directories(sqm_foundation SYSTEM INTERFACE ${SQM_GNUSTEP_INCLUDE})
  target_compile_definitions(sqm_foundation INTERFACE
    GNUSTEP GNUSTEP_BASE_LIBRARY=1 GNU_RUNTIME=1 _NATIVE_OBJC_EXCEPTIONS)
  target_compile_options(sqm_foundation INTERFACE
    $<$<COMPILE_LANGUAGE:OBJC,OBJCXX>:-fobjc-exceptions -fconstant-string-class=NSConstantString>)
  if(CMAKE_OBJC_COMPILER_ID STREQUAL Clang) # uses the run-time library of GCC, whose headers GCC alone finds
    find_path(SQM_OBJC_INCLUDE objc/objc.h HINTS ${CMAKE_C_IMPLICIT_LINK_DIRECTORIES} PATH_SUFFIXES include REQUIRED)
    target_compile_options(sqm_foundation INTERFACE
      "$<$<COMPILE_LANGUAGE:OBJC,OBJCXX>:SHELL:-fobjc-runtime=gcc -idirafter ${SQM_OBJC_INCLUDE}>")
  endif()
  target_link_libraries(sqm_foundation INTERFACE ${SQM_GNUSTEP_BASE} objc)
endif()
