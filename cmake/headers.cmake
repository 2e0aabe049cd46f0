# What most sources of the programs include, compiled once: half of what compiling them takes. A
# source still includes what it uses: package builds and the linters do without this.

set(TALVOR_COMMON_HEADERS
  <algorithm> <array> <bit> <cerrno> <charconv> <chrono> <cstddef> <cstdint> <cstdio> <cstdlib>
  <cstring> <functional> <map> <memory> <mutex> <optional> <set> <span> <string>
  <string_view> <system_error> <thread> <unordered_map> <utility> <variant> <vector>
  <fmt/format.h> <fmt/ranges.h> <tl/expected.hpp>)

# The target that owns the compiled headers for code in shared objects, or else in programs: they fit
# only what is compiled with the same flags, and with the same definitions or more.
function(talvor_compiled_headers position_independent owner)
  set(name talvor_program_headers)
  if(position_independent)
    set(name talvor_shared_object_headers)
  endif()
  set(${owner} ${name} PARENT_SCOPE)
  if(TARGET ${name})
    return()
  endif()
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/${name}.cpp CONTENT "")
  add_library(${name} OBJECT ${PROJECT_BINARY_DIR}/${name}.cpp)
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ${position_independent})
  target_link_libraries(${name} PRIVATE talvor_flags fmt::fmt tl::expected)
  target_precompile_headers(${name} PRIVATE ${TALVOR_COMMON_HEADERS})
endfunction()

# Has every source of the target begin with them.
function(talvor_begin_with_headers target)
  if(CMAKE_DISABLE_PRECOMPILE_HEADERS)
    return()
  endif()
  get_target_property(position_independent ${target} POSITION_INDEPENDENT_CODE)
  if(NOT position_independent)
    set(position_independent FALSE)
  endif()
  talvor_compiled_headers(${position_independent} owner)
  target_link_libraries(${target} PRIVATE fmt::fmt)
  # g++ 12 sees wrong bounds in the code of std::string, and forgets behind compiled headers that it is
  # no code of ours. Its builds without them look for both, and so does clang.
  target_compile_options(${target} PRIVATE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds$<SEMICOLON>-Wno-restrict>
    $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow$<SEMICOLON>-Wno-stringop-overread>)
  target_precompile_headers(${target} REUSE_FROM ${owner})
endfunction()
