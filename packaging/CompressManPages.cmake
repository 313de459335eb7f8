# Run by CPack when everything that goes into the packages is in place.
file(GLOB_RECURSE pages "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.[1-8]")
foreach(page IN LISTS pages)
  if(page MATCHES "/share/man/man[1-8]/" AND NOT IS_SYMLINK ${page})
    execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
