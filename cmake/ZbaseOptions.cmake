# Build options of zbase. Tests and benchmarks are built only when their
# frameworks are present, so configuring needs nothing beyond CMake, a C++17
# compiler and zlib; asking for them explicitly without the framework is an
# error that says what to install.

option(ZBASE_WERROR "Treat warnings as errors" OFF)
set(ZBASE_SANITIZE "" CACHE STRING "Sanitizers to build with: address,undefined or thread")
option(ZBASE_PROGRAMS "Build zstanza and the example programs" ${PROJECT_IS_TOP_LEVEL})
option(ZBASE_FUZZ "Build the libFuzzer harnesses under fuzz/ (needs clang)" OFF)
option(ZBASE_INSTALL "Generate the install rules and the CMake package" ${PROJECT_IS_TOP_LEVEL})

# ZBASE_TESTS / ZBASE_BENCH: ON, OFF, or AUTO (built when the framework is
# found and zbase is the top-level project).
set(ZBASE_TESTS AUTO CACHE STRING "Build the GoogleTest suites: ON, OFF or AUTO")
set(ZBASE_BENCH AUTO CACHE STRING "Build the Google Benchmark programs: ON, OFF or AUTO")
set_property(CACHE ZBASE_TESTS PROPERTY STRINGS AUTO ON OFF)
set_property(CACHE ZBASE_BENCH PROPERTY STRINGS AUTO ON OFF)

# zbase_optional_framework(VAR PACKAGE TARGET DEBIAN-PACKAGE): turns VAR into
# a plain ON or OFF.
macro(zbase_optional_framework var package target debian)
  if(${var} STREQUAL "AUTO")
    if(PROJECT_IS_TOP_LEVEL)
      find_package(${package} QUIET)
    endif()
    if(TARGET ${target})
      set(${var} ON)
    else()
      set(${var} OFF)
    endif()
  elseif(${var})
    find_package(${package} QUIET)
    if(NOT TARGET ${target})
      message(FATAL_ERROR "${var}=${${var}} but ${package} was not found: "
        "install it (Debian: apt-get install ${debian}) or configure with -D${var}=OFF")
    endif()
    set(${var} ON)
  else()
    set(${var} OFF)
  endif()
endmacro()

zbase_optional_framework(ZBASE_TESTS GTest GTest::gtest "libgtest-dev libgmock-dev")
zbase_optional_framework(ZBASE_BENCH benchmark benchmark::benchmark libbenchmark-dev)
message(STATUS "zbase: tests ${ZBASE_TESTS}, benchmarks ${ZBASE_BENCH}")
