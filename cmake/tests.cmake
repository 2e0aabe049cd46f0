# What all test programs start with, compiled once. A target of its own, because a precompiled
# header fits only programs that are compiled with the same definitions, or more.
function(talvor_test_headers)
  if(TARGET talvor_test_headers)
    return()
  endif()
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/test_headers.cpp CONTENT "")
  add_library(talvor_test_headers OBJECT ${PROJECT_BINARY_DIR}/test_headers.cpp)
  target_link_libraries(talvor_test_headers PRIVATE talvor_flags GTest::gtest GTest::gmock)
  target_precompile_headers(talvor_test_headers PRIVATE
    <algorithm> <array> <atomic> <chrono> <csignal> <cstdint> <cstdlib> <cstring> <filesystem> <fstream>
    <functional> <map> <memory> <optional> <random> <set> <span> <sstream> <string> <string_view>
    <thread> <utility> <vector> <gmock/gmock.h> <gtest/gtest.h>)
  talvor_compile_quickly(talvor_test_headers)
endfunction()

# The tests of the driver's floors: with the preset valgrind they alone are built and run.
add_custom_target(driver_tests)
# Those of what has threads: with the preset tsan they alone are built and run.
add_custom_target(threads_tests)

# Has each test of a program run by ctest; under valgrind the program as a whole.
function(talvor_run_tests name label serial)
  set(timeout 300)
  if(label STREQUAL torture)
    set(timeout 14400) # what scripts/torture runs whole
  endif()
  set(properties TIMEOUT ${timeout} RUN_SERIAL ${serial})
  if(label)
    list(APPEND properties LABELS ${label})
  endif()
  if(NOT TALVOR_MEMCHECK)
    gtest_discover_tests(${name}
      TEST_PREFIX ${name}. DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
    return()
  endif()
  find_program(VALGRIND valgrind REQUIRED)
  add_test(NAME ${name} COMMAND ${VALGRIND} --quiet --error-exitcode=99
    --suppressions=${PROJECT_SOURCE_DIR}/cmake/valgrind.supp
    --leak-check=full --errors-for-leak-kinds=definite $<TARGET_FILE:${name}> --gtest_brief=1)
  set_tests_properties(${name} PROPERTIES ${properties})
endfunction()

# talvor_test(NAME <name> [SOURCES <file>... | SOURCES_IN <folder>] [LIBRARIES <target>...] [LABELS <label>] [SERIAL])
#
# One test program. Without SOURCES it takes every *_test.cpp of the current folder, so that a new
# test file needs no entry anywhere. Every TEST in it becomes a test of ctest. With SERIAL no other
# test runs beside its tests.
function(talvor_test)
  cmake_parse_arguments(ARG "SERIAL" "NAME;SOURCES_IN;LABELS" "SOURCES;LIBRARIES" ${ARGN})
  if(NOT ARG_SOURCES)
    if(NOT ARG_SOURCES_IN)
      set(ARG_SOURCES_IN ${CMAKE_CURRENT_SOURCE_DIR})
    endif()
    file(GLOB ARG_SOURCES CONFIGURE_DEPENDS ${ARG_SOURCES_IN}/*_test.cpp)
  endif()
  if(NOT ARG_SOURCES)
    return()
  endif()
  talvor_test_headers()
  add_executable(${ARG_NAME} ${ARG_SOURCES})
  target_link_libraries(${ARG_NAME} PRIVATE talvor_flags talvor_test_support ${ARG_LIBRARIES})
  target_precompile_headers(${ARG_NAME} REUSE_FROM talvor_test_headers)
  talvor_compile_quickly(${ARG_NAME})

  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR}/tests ${CMAKE_CURRENT_SOURCE_DIR})
  if(IS_DIRECTORY ${PROJECT_SOURCE_DIR}/src/${folder})
    set(ARG_LABELS driver)
    add_dependencies(driver_tests ${ARG_NAME})
  endif()
  if(ARG_LABELS STREQUAL threads)
    add_dependencies(threads_tests ${ARG_NAME})
  endif()
  talvor_run_tests(${ARG_NAME} "${ARG_LABELS}" ${ARG_SERIAL})
endfunction()
