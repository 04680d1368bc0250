# Run by cpack on the folders that become packages: compresses what a Debian package holds
# compressed, takes debug information out of the static libraries, and takes the run path out of the
# shared ones, which the loader finds in the system's folder.
file(GLOB_RECURSE texts "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
list(FILTER texts INCLUDE REGEX "/share/man/|/changelog\\.Debian$")
foreach(text ${texts})
  execute_process(COMMAND gzip -9nf ${text} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(GLOB_RECURSE archives "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.a")
foreach(archive ${archives})
  execute_process(COMMAND strip --strip-debug --enable-deterministic-archives ${archive}
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(GLOB_RECURSE libraries "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.so.*.*")
foreach(library ${libraries})
  if(NOT IS_SYMLINK ${library})
    file(RPATH_REMOVE FILE ${library})
  endif()
endforeach()
# Packages of one version have the same bytes, whenever and wherever they are made.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  file(GLOB_RECURSE files LIST_DIRECTORIES true "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
  foreach(file ${files})
    execute_process(COMMAND touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} ${file}
      COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endif()
