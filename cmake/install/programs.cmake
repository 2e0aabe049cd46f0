# What is installed beside the driver: the simulator, the host tool, their manual pages, completions,
# examples, documents and the description of the pod that the tool simulates.

# A completion script for each shell that the tool writes one for.
set(completions ${PROJECT_BINARY_DIR}/completions)
add_custom_command(OUTPUT ${completions}/stamp
  COMMAND ${CMAKE_COMMAND} -DTALVOR=$<TARGET_FILE:talvor> -DFOLDER=${completions}
          -P ${CMAKE_CURRENT_LIST_DIR}/completions.cmake
  DEPENDS talvor ${CMAKE_CURRENT_LIST_DIR}/completions.cmake
  COMMENT "Writing completion scripts"
  VERBATIM)
add_custom_target(completions ALL DEPENDS ${completions}/stamp)
foreach(shell bash zsh fish)
  if(TARGET podsim-completion-${shell})
    add_dependencies(completions podsim-completion-${shell})
  endif()
endforeach()

set(TALVOR_BASH_COMPLETIONS_DIR ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  CACHE PATH "Where bash looks for completions")
set(TALVOR_ZSH_COMPLETIONS_DIR ${CMAKE_INSTALL_DATADIR}/zsh/site-functions
  CACHE PATH "Where zsh looks for completions")
set(TALVOR_FISH_COMPLETIONS_DIR ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
  CACHE PATH "Where fish looks for completions")

install(TARGETS talvor
  DESTINATION ${CMAKE_INSTALL_BINDIR}
  COMPONENT Tool)
install(TARGETS talvor-podsim
  DESTINATION ${CMAKE_INSTALL_BINDIR}
  COMPONENT Simulator)
foreach(shell bash zsh fish)
  string(TOUPPER ${shell} name)
  install(DIRECTORY ${completions}/${shell}/
    DESTINATION ${TALVOR_${name}_COMPLETIONS_DIR}
    COMPONENT Tool)
  # Those that are written by hand.
  file(GLOB written CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/packaging/completions/${shell}/*)
  install(FILES ${written}
    DESTINATION ${TALVOR_${name}_COMPLETIONS_DIR}
    COMPONENT Tool)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/examples/five.toml
  DESTINATION ${CMAKE_INSTALL_DATADIR}/talvor
  RENAME built_in.toml
  COMPONENT Tool)

# Manual pages, each with this version in its footer.
file(GLOB pages CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/docs/*.[1357] ${PROJECT_SOURCE_DIR}/docs/man/*.[1357])
foreach(page IN LISTS pages)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${page})
  cmake_path(GET page FILENAME name)
  cmake_path(GET page EXTENSION LAST_ONLY section)
  string(SUBSTRING ${section} 1 -1 section)
  file(READ ${page} text)
  string(REGEX REPLACE "\"([Tt]alvor) [0-9.]+\"" "\"\\1 ${PROJECT_VERSION}\"" text "${text}")
  file(WRITE ${PROJECT_BINARY_DIR}/man/${name} "${text}")
  if(section STREQUAL 3)
    set(component Development)
  elseif(name MATCHES "^talvor-podsim")
    set(component Simulator)
  else()
    set(component Tool)
  endif()
  install(FILES ${PROJECT_BINARY_DIR}/man/${name}
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
    COMPONENT ${component})
endforeach()

# The documents stand to each other as they do in the source tree, so that their links hold.
install(FILES
  ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/LICENSE
  DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT Documentation)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs
  COMPONENT Documentation
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg"
  PATTERN "man" EXCLUDE PATTERN "reference" EXCLUDE)
install(DIRECTORY ${PROJECT_BINARY_DIR}/doxygen/html
  DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT Documentation
  OPTIONAL)
# list_chain stands on the host library, which is not installed.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples
  DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT Documentation
  PATTERN "CMakeLists.txt" EXCLUDE PATTERN "list_chain.cpp" EXCLUDE)
