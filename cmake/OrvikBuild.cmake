# Compiler settings and the one way in which a folder becomes a library or a test program.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(GNUInstallDirs)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")

find_program(ORVIK_CCACHE ccache)
if(ORVIK_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${ORVIK_CCACHE}")
endif()

# Without a build type the compiler would not optimise, and FORTIFY would check nothing.
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "The kind of build" FORCE)
endif()

# What is shipped is hardened as Debian's packages are, and holds no path of the machine that built it.
if(ORVIK_SHIPPED)
  include(CheckPIESupported)
  include(CheckCXXCompilerFlag)
  check_pie_supported(LANGUAGES CXX)
  add_compile_options(-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
    -Werror=format-security -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
  foreach(flag -fstack-clash-protection -fcf-protection)
    string(MAKE_C_IDENTIFIER "ORVIK_HAS_${flag}" has)
    check_cxx_compiler_flag(${flag} ${has})
    if(${has})
      add_compile_options(${flag})
    endif()
  endforeach()
  add_link_options(LINKER:-z,relro LINKER:-z,now)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor)
if(ORVIK_WERROR)
  add_compile_options(-Werror)
endif()
if(ORVIK_SANITIZE)
  add_compile_options(-fsanitize=${ORVIK_SANITIZE} -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${ORVIK_SANITIZE})
endif()
if(ORVIK_BUILD_FUZZERS)
  # Coverage of the libraries too: without it the fuzzer sees the target's few lines only.
  add_compile_options(-fsanitize=fuzzer-no-link)
  add_link_options(-fsanitize=fuzzer-no-link)
endif()
# Public headers use struct stat, off_t and time_t: programs that use them need the same sizes,
# which on 32-bit systems are not the compiler's own choice.
set(ORVIK_PUBLIC_DEFINITIONS _FILE_OFFSET_BITS=64)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  list(APPEND ORVIK_PUBLIC_DEFINITIONS _TIME_BITS=64)
endif()
add_compile_definitions(${ORVIK_PUBLIC_DEFINITIONS})

# orvik_library(NAME LINKS ...): every source of the current folder, compiled once, becomes the
# static library orvik_NAME (orvik::NAME, what the programs of this tree link) and the shared one
# orvik_NAME_shared, which exports what the public headers declare (CONTRIBUTING.md) and nothing
# else. LINKS are the layers it may use (public); PRIVATE_LINKS stay inside. STATIC_SOURCES, with their
# full paths, are in the static library alone.
function(orvik_library name)
  cmake_parse_arguments(arg "" "" "LINKS;PRIVATE_LINKS;STATIC_SOURCES" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp)
  list(REMOVE_ITEM sources ${arg_STATIC_SOURCES})
  add_library(orvik_${name}_objects OBJECT ${sources})
  # clang looks at the namespace around a definition, not around its declaration in the header, and
  # would hide everything.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set_target_properties(orvik_${name}_objects PROPERTIES
      CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  endif()
  target_link_libraries(orvik_${name}_objects PUBLIC ${arg_LINKS} PRIVATE ${arg_PRIVATE_LINKS})
  # Names are compared by units (strings/string_operations.h).
  target_compile_definitions(orvik_${name}_objects PRIVATE ORVIK_WARNS_OF_COLLATION)
  orvik_precompile(orvik_${name}_objects libraries)

  add_library(orvik_${name} STATIC ${arg_STATIC_SOURCES})
  add_library(orvik::${name} ALIAS orvik_${name})
  set_target_properties(orvik_${name} PROPERTIES EXPORT_NAME ${name}_static)
  target_link_libraries(orvik_${name} PUBLIC ${arg_LINKS})

  add_library(orvik_${name}_shared SHARED)
  set_target_properties(orvik_${name}_shared PROPERTIES
    EXPORT_NAME ${name}_shared OUTPUT_NAME orvik_${name}
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH "$ORIGIN"
    LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exported.map)
  target_link_options(orvik_${name}_shared PRIVATE
    LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exported.map)
  if(NOT ORVIK_SANITIZE)
    target_link_options(orvik_${name}_shared PRIVATE LINKER:--no-undefined)
  endif()
  list(TRANSFORM arg_LINKS REPLACE "^orvik::(.*)$" "orvik_\\1_shared" OUTPUT_VARIABLE shared_links)
  set(layers_used ${arg_LINKS})
  list(FILTER layers_used INCLUDE REGEX "^orvik::")
  list(TRANSFORM layers_used REPLACE "^orvik::" "")
  set_property(GLOBAL APPEND PROPERTY ORVIK_LAYERS ${name})
  set_property(GLOBAL PROPERTY ORVIK_${name}_USES ${layers_used})
  target_link_libraries(orvik_${name}_shared PUBLIC ${shared_links})

  foreach(library orvik_${name} orvik_${name}_shared)
    target_sources(${library} PRIVATE $<TARGET_OBJECTS:orvik_${name}_objects>)
    target_link_libraries(${library} PRIVATE ${arg_PRIVATE_LINKS})
    target_include_directories(${library} PUBLIC
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    target_compile_features(${library} INTERFACE cxx_std_20)
    target_compile_definitions(${library} INTERFACE ${ORVIK_PUBLIC_DEFINITIONS})
  endforeach()
  target_include_directories(orvik_${name}_objects PUBLIC ${PROJECT_SOURCE_DIR})
endfunction()

# A program that starts without what most of its runs do not use: ICU is not named as a library that
# it needs (text/unicode_library.h loads it), and the C++ library becomes part of the program.
function(orvik_start_fast target)
  target_link_options(${target} PRIVATE LINKER:--as-needed)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT ORVIK_SANITIZE AND NOT ORVIK_BUILD_FUZZERS)
    target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
  endif()
endfunction()

# Reads the headers that most sources include, and those named, once for all targets of a kind, which
# are compiled alike. Presets without the sanitizers turn that off: there each source compiles with its
# own includes alone.
function(orvik_precompile target kind)
  get_property(first GLOBAL PROPERTY ORVIK_PRECOMPILED_${kind})
  if(first)
    target_precompile_headers(${target} REUSE_FROM ${first})
  else()
    set_property(GLOBAL PROPERTY ORVIK_PRECOMPILED_${kind} ${target})
    target_precompile_headers(${target} PRIVATE <algorithm> <cstdint> <functional> <memory> <optional>
      <string> <string_view> <vector> ${ARGN})
  endif()
endfunction()

# Under the sanitizers the optimiser takes most of the time to compile code that runs once.
function(orvik_compile_fast target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:Debug>:-O0>)
endfunction()

# Checks of every pointer and reference double the time to compile an assertion. The tests' own are
# left to the address sanitizer.
function(orvik_check_less target)
  if(ORVIK_SANITIZE MATCHES "undefined")
    target_compile_options(${target} PRIVATE -fno-sanitize=null,alignment,vptr,object-size)
  endif()
endfunction()

# orvik_test(NAME LINKS ... [PROPERTIES ...]): every *_test.cpp of the current folder becomes one test
# program, each of its cases a CTest test of its own with the label NAME and the properties. Tests of a
# higher COST begin first, so that no long one is left for the end.
function(orvik_test name)
  cmake_parse_arguments(arg "" "" "LINKS;PROPERTIES" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS *.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(orvik_${name}_tests ${sources})
  target_link_libraries(orvik_${name}_tests PRIVATE ${arg_LINKS} orvik_test_support)
  orvik_compile_fast(orvik_${name}_tests)
  orvik_check_less(orvik_${name}_tests)
  orvik_precompile(orvik_${name}_tests tests <filesystem> <gtest/gtest.h>)
  gtest_discover_tests(orvik_${name}_tests DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 LABELS ${name} ${arg_PROPERTIES})
endfunction()
