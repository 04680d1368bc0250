# Run by cpack on the finished packages: takes out the scripts with which it lets the libraries'
# package call ldconfig. The package's trigger does that.
foreach(package ${CPACK_PACKAGE_FILES})
  if(NOT package MATCHES "/liborvik-[a-z]+[0-9]+_")
    continue()
  endif()
  get_filename_component(folder ${package} DIRECTORY)
  set(control ${folder}/control.tar)
  execute_process(COMMAND dpkg-deb --ctrl-tarfile ${package} OUTPUT_FILE ${control}
    COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND tar --delete --file ${control} ./postinst ./postrm
    COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND gzip -9nf ${control} COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ar rD ${package} ${control}.gz COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE ${control}.gz)
endforeach()
