# The libraries of simulator, host library and tool; the driver needs none of them.
find_package(Threads REQUIRED)
find_package(CLI11 REQUIRED)
find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(tl-expected REQUIRED)
find_package(tomlplusplus REQUIRED)

# Line editing of 'talvor shell', which does without.
option(TALVOR_LIBEDIT "Edit lines in 'talvor shell', where libedit is installed" ON)
find_path(LIBEDIT_INCLUDE_DIR histedit.h)
find_library(LIBEDIT_LIBRARY edit)
if(TALVOR_LIBEDIT AND LIBEDIT_INCLUDE_DIR AND LIBEDIT_LIBRARY)
  set(LIBEDIT_FOUND TRUE)
else()
  set(LIBEDIT_FOUND FALSE)
  message(STATUS "libedit is not used: 'talvor shell' reads plain lines")
endif()
