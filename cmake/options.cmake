option(TALVOR_LIBRARY_ONLY "Build the library and nothing else" OFF)
option(TALVOR_BUILD_TESTS "Build the tests" ON)
option(TALVOR_BUILD_BENCH "Build the benchmarks" ON)
option(TALVOR_WERROR "Treat warnings as errors" OFF)
option(TALVOR_COVERAGE "Instrument for coverage reports" OFF)
option(TALVOR_MEMCHECK "Run the test programs under valgrind" OFF)
option(TALVOR_FUZZ "Build the fuzzers" OFF)

set(TALVOR_SANITIZE OFF CACHE STRING
  "Build everything with sanitizers: OFF; address (with undefined; ON means the same); thread")
set_property(CACHE TALVOR_SANITIZE PROPERTY STRINGS OFF address thread)
if(NOT TALVOR_SANITIZE MATCHES "^(OFF|ON|address|thread)$")
  message(FATAL_ERROR
    "TALVOR_SANITIZE=${TALVOR_SANITIZE} is not known: choose OFF, address or thread")
endif()

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug, Release or RelWithDebInfo" FORCE)
endif()

# -O2, as distributions build; nothing here gains from -O3.
string(REPLACE "-O3" "-O2" CMAKE_C_FLAGS_RELEASE "${CMAKE_C_FLAGS_RELEASE}")
string(REPLACE "-O3" "-O2" CMAKE_CXX_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")
