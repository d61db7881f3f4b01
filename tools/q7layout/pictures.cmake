# Draws docs/layouts/*.layout as docs/pictures/*.svg.
file(GLOB layouts "${DOCS}/layouts/*.layout")
foreach(layout IN LISTS layouts)
  get_filename_component(name "${layout}" NAME_WE)
  execute_process(COMMAND "${PROGRAM}" "${layout}" --picture "${DOCS}/pictures/${name}.svg" --json /dev/null
                  COMMAND_ERROR_IS_FATAL ANY)
endforeach()
