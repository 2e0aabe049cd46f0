# What is installed of the driver: the library, and what host programs are built with: its development
# link, the headers, a CMake package (find_package(Talvor), target Talvor::jsctalvor) and jsctalvor.pc.
# No path of the machine that built it is in any of them: the tree may be moved.

set(TALVOR_HEADERS_DIR ${CMAKE_INSTALL_INCLUDEDIR}/talvor)
set(TALVOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Talvor)
set(TALVOR_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Both <talvor/jsc_export.h> and "jsc_export.h" are found.
target_include_directories(talvor_host_headers INTERFACE
  $<INSTALL_INTERFACE:${TALVOR_HEADERS_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set_target_properties(talvor_host_headers PROPERTIES EXPORT_NAME headers)

install(TARGETS jsctalvor talvor_host_headers EXPORT TalvorTargets
  LIBRARY
    DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT Library
    NAMELINK_COMPONENT Development
  FILE_SET host_headers
    DESTINATION ${TALVOR_HEADERS_DIR}
    COMPONENT Development)
install(EXPORT TalvorTargets
  NAMESPACE Talvor::
  DESTINATION ${TALVOR_CMAKE_DIR}
  COMPONENT Development)

include(CMakePackageConfigHelpers)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/TalvorConfig.cmake.in ${PROJECT_BINARY_DIR}/TalvorConfig.cmake
  INSTALL_DESTINATION ${TALVOR_CMAKE_DIR}
  NO_SET_AND_CHECK_MACRO)
# Hosts that were built for an older library run with every later one of its number (SOVERSION).
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TalvorConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/TalvorConfig.cmake ${PROJECT_BINARY_DIR}/TalvorConfigVersion.cmake
  DESTINATION ${TALVOR_CMAKE_DIR}
  COMPONENT Development)

# From the folder of jsctalvor.pc to the prefix, and on.
file(RELATIVE_PATH TALVOR_PREFIX_FROM_PKGCONFIG
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" TALVOR_PREFIX_FROM_PKGCONFIG "${TALVOR_PREFIX_FROM_PKGCONFIG}")
file(RELATIVE_PATH TALVOR_LIBDIR_IN_PREFIX ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH TALVOR_INCLUDEDIR_IN_PREFIX
  ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(${CMAKE_CURRENT_LIST_DIR}/jsctalvor.pc.in ${PROJECT_BINARY_DIR}/jsctalvor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/jsctalvor.pc
  DESTINATION ${TALVOR_PKGCONFIG_DIR}
  COMPONENT Development)

# Takes away what the last `cmake --install` of this build folder has brought.
configure_file(${CMAKE_CURRENT_LIST_DIR}/uninstall.cmake.in ${PROJECT_BINARY_DIR}/uninstall.cmake
  @ONLY)
add_custom_target(uninstall
  COMMAND ${CMAKE_COMMAND} -P ${PROJECT_BINARY_DIR}/uninstall.cmake
  USES_TERMINAL
  COMMENT "Taking away what was installed")
