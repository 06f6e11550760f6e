# Run by cpack on what it is about to pack: man pages and changelogs as Debian has them, compressed, and
# with nothing in them that another run would do otherwise.
file(GLOB_RECURSE documents
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man[1-9]/*.[1-9]
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog.Debian)
if(NOT documents)
  message(FATAL_ERROR "no documents below ${CPACK_TEMPORARY_DIRECTORY}")
endif()
execute_process(COMMAND gzip -9n ${documents} COMMAND_ERROR_IS_FATAL ANY)
