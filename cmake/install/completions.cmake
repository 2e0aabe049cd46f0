# Writes FOLDER/SHELL/FILE for each shell that the program TALVOR writes a completion script for.
# Each shell looks for a file of its own name for the command.
set(bash talvor)
set(zsh _talvor)
set(fish talvor.fish)

foreach(shell bash zsh fish)
  file(MAKE_DIRECTORY ${FOLDER}/${shell})
  file(REMOVE ${FOLDER}/${shell}/${${shell}})
  execute_process(COMMAND ${TALVOR} completion ${shell}
    OUTPUT_VARIABLE script ERROR_VARIABLE error RESULT_VARIABLE status)
  if(status EQUAL 0)
    file(WRITE ${FOLDER}/${shell}/${${shell}} "${script}")
  elseif(shell STREQUAL bash)
    message(FATAL_ERROR "talvor completion ${shell} failed: ${error}")
  endif()
endforeach()
file(TOUCH ${FOLDER}/stamp)
