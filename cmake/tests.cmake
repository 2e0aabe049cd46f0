# talvor_test(NAME <name> [SOURCES <file>...] [LIBRARIES <target>...] [LABELS <label>...] [SERIAL])
#
# One test program; with SERIAL no other test runs beside its tests. Without SOURCES it takes every *_test.cpp of the current folder, so that a new
# test file needs no entry anywhere. Every TEST in it becomes a test of ctest.
function(talvor_test)
  cmake_parse_arguments(ARG "SERIAL" "NAME" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  if(NOT ARG_SOURCES)
    file(GLOB ARG_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cpp)
  endif()
  if(NOT ARG_SOURCES)
    return()
  endif()
  add_executable(${ARG_NAME} ${ARG_SOURCES})
  target_link_libraries(${ARG_NAME} PRIVATE talvor_flags talvor_test_support ${ARG_LIBRARIES})
  # Compiling the tests takes longer than running them.
  target_compile_options(${ARG_NAME} PRIVATE $<$<CONFIG:Release>:-O1>)
  gtest_discover_tests(${ARG_NAME}
    TEST_PREFIX ${ARG_NAME}.
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 LABELS "${ARG_LABELS}" RUN_SERIAL ${ARG_SERIAL})
endfunction()
