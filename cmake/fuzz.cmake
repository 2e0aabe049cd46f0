# The fuzz targets (fuzz/). The tests replay their corpora; the fuzzers themselves are built with the
# preset asan, because libFuzzer needs clang and code that counts where it has been.

if(NOT TALVOR_FUZZ)
  return()
endif()

if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "TALVOR_FUZZ needs clang: use the preset asan")
endif()
if(NOT TALVOR_SANITIZE)
  message(FATAL_ERROR "TALVOR_FUZZ needs TALVOR_SANITIZE=address: use the preset asan")
endif()

include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_FLAGS -fsanitize=fuzzer)
check_cxx_source_compiles(
  "extern \"C\" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }"
  TALVOR_HAS_LIBFUZZER)
unset(CMAKE_REQUIRED_FLAGS)
if(NOT TALVOR_HAS_LIBFUZZER)
  message(FATAL_ERROR "clang has no libFuzzer here: scripts/setup installs its package, "
                      "libclang-rt-14-dev")
endif()

target_compile_options(talvor_flags INTERFACE -fsanitize=fuzzer-no-link)

# The program fuzz_NAME of the target NAME.
function(talvor_fuzzer name)
  add_executable(fuzz_${name} ${PROJECT_SOURCE_DIR}/fuzz/fuzzer.cpp)
  target_compile_definitions(fuzz_${name} PRIVATE TALVOR_FUZZ_RUN=run_${name})
  target_link_libraries(fuzz_${name} PRIVATE talvor_flags talvor_fuzz_targets)
  target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
endfunction()
