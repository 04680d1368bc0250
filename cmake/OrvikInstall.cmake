# cmake --install: libraries, headers below include/orvik (the tree's folders kept), the package
# configuration (find_package(orvik)) and orvik.pc.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(layers platform strings files streams prefs xml)

add_library(orvik_orvik INTERFACE)
add_library(orvik::orvik ALIAS orvik_orvik)
set_target_properties(orvik_orvik PROPERTIES EXPORT_NAME orvik)

foreach(layer ${layers})
  target_link_libraries(orvik_orvik INTERFACE orvik_${layer})
  install(TARGETS orvik_${layer} EXPORT orvik_targets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  install(DIRECTORY ${layer} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvik COMPONENT development
    FILES_MATCHING PATTERN "*.h")
endforeach()
install(TARGETS orvik_orvik EXPORT orvik_targets COMPONENT development)
install(TARGETS postflight RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT tool)
install(FILES docs/postflight.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT tool)
install(TARGETS orvikprefs RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command-line)
install(FILES docs/orvikprefs.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT command-line)
install(FILES tools/orvikprefs/completion/orvikprefs.bash RENAME orvikprefs
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT command-line)
# Where Debian's zsh looks for completions of packages, and of what is installed elsewhere.
set(zsh_folder site-functions)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(zsh_folder vendor-completions)
endif()
install(FILES tools/orvikprefs/completion/_orvikprefs
  DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${zsh_folder} COMPONENT command-line)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orvik)
install(EXPORT orvik_targets NAMESPACE orvik:: DESTINATION ${package_dir}
  COMPONENT development)
configure_package_config_file(cmake/orvik-config.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/orvik-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/orvik-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orvik-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/orvik-config-version.cmake DESTINATION ${package_dir}
  COMPONENT development)

configure_file(cmake/orvik.pc.in ${CMAKE_CURRENT_BINARY_DIR}/orvik.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orvik.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
