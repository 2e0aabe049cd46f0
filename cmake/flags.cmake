# Flags that every target of this tree is compiled and linked with.

add_library(talvor_flags INTERFACE)

target_compile_options(talvor_flags INTERFACE
  -Wall -Wextra -Wconversion -Wshadow
  -Wformat=2
  -fstack-protector-strong -fstack-clash-protection -fcf-protection
  # Builds of the same sources are identical wherever the tree stands.
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=
  -ffile-prefix-map=${CMAKE_BINARY_DIR}/=)
target_link_options(talvor_flags INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack
                                           -Wl,--as-needed)

if(TALVOR_WERROR)
  target_compile_options(talvor_flags INTERFACE -Werror)
endif()

if(TALVOR_SANITIZE)
  if(TALVOR_SANITIZE STREQUAL "thread")
    set(sanitizers thread)
  else()
    set(sanitizers address,undefined)
  endif()
  target_compile_options(talvor_flags INTERFACE
    -fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  # This check of clang needs a C++ runtime, which the library and hosts in C do not have.
  target_compile_options(talvor_flags INTERFACE
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-fno-sanitize=function>)
  target_link_options(talvor_flags INTERFACE -fsanitize=${sanitizers})
else()
  # Fortified libc calls need optimisation, and the sanitizers replace them.
  set(plain $<OR:$<CONFIG:Debug>,$<BOOL:$<TARGET_PROPERTY:TALVOR_COMPILED_QUICKLY>>>)
  target_compile_options(talvor_flags INTERFACE
    $<$<NOT:${plain}>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>)
endif()

if(TALVOR_COVERAGE)
  # Threads that count without atomics leave counts below zero, which gcovr does not read.
  target_compile_options(talvor_flags INTERFACE --coverage -fprofile-update=atomic -O0)
  target_link_options(talvor_flags INTERFACE --coverage)
endif()

# For programs whose compilation takes longer than they ever run: not optimised, whatever the preset.
function(talvor_compile_quickly target)
  set_target_properties(${target} PROPERTIES TALVOR_COMPILED_QUICKLY ON)
  target_compile_options(${target} PRIVATE -O0)
endfunction()
