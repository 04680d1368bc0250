# cmake --install: libraries, public headers below include/orvik (the tree's folders kept), the
# package configuration (find_package(orvik)), and orvik.pc and orvik-static.pc for pkg-config.
include(CMakePackageConfigHelpers)

# The lowest layer first.
get_property(layers GLOBAL PROPERTY ORVIK_LAYERS)

# Nothing is installed of a component that is not wholly built.
function(orvik_install_needs component)
  set(files "")
  foreach(target ${ARGN})
    string(APPEND files " \"$<TARGET_FILE:${target}>\"")
  endforeach()
  install(CODE "foreach(file${files})
  if(NOT EXISTS \"\${file}\")
    message(FATAL_ERROR
      \"\${file} is not built, so nothing is installed. Build first: cmake --build ${CMAKE_BINARY_DIR}\")
  endif()
endforeach()" COMPONENT ${component})
endfunction()

# orvik_manual(FILE): the manual page with the version of this build, below manuals/.
function(orvik_manual file)
  file(READ ${file} text)
  string(REPLACE "\"orvik\"" "\"orvik ${PROJECT_VERSION}\"" text "${text}")
  get_filename_component(name ${file} NAME)
  file(CONFIGURE OUTPUT manuals/${name} CONTENT "${text}" @ONLY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
endfunction()

set(static_libraries ${layers})
list(TRANSFORM static_libraries PREPEND "orvik_")
orvik_install_needs(tool postflight)
orvik_install_needs(command-line orvikprefs)
foreach(layer ${layers})
  orvik_install_needs(library-${layer} orvik_${layer}_shared)
endforeach()
orvik_install_needs(development ${static_libraries})

foreach(layer ${layers})
  install(TARGETS orvik_${layer} EXPORT orvik_static_targets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  install(TARGETS orvik_${layer}_shared EXPORT orvik_shared_targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library-${layer}
    NAMELINK_COMPONENT development)
endforeach()
configure_file(cmake/install_headers.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/install_headers.cmake
  @ONLY)
install(SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/install_headers.cmake COMPONENT development)
install(TARGETS postflight RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT tool)
orvik_manual(docs/postflight.8)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/manuals/postflight.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT tool)
install(TARGETS orvikprefs RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command-line)
orvik_manual(docs/orvikprefs.1)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/manuals/orvikprefs.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT command-line)
install(FILES tools/orvikprefs/completion/orvikprefs.bash RENAME orvikprefs
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT command-line)
install(FILES tools/orvikprefs/completion/orvikprefs.fish
  DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT command-line)
# Where Debian's zsh looks for completions of packages, and of what is installed elsewhere.
set(zsh_folder site-functions)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(zsh_folder vendor-completions)
endif()
install(FILES tools/orvikprefs/completion/_orvikprefs
  DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${zsh_folder} COMPONENT command-line)

# The documents and the examples, in the folders of the tree, so that their links hold.
set(documents_dir ${CMAKE_INSTALL_DATADIR}/doc/liborvik-dev)
file(GLOB pages CONFIGURE_DEPENDS *.md)
install(FILES ${pages} DESTINATION ${documents_dir} COMPONENT development)
install(DIRECTORY docs DESTINATION ${documents_dir} COMPONENT development
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.1" PATTERN "*.8")
install(DIRECTORY examples DESTINATION ${documents_dir} COMPONENT development
  USE_SOURCE_PERMISSIONS)

# Where Ansible looks for the plugins of a site.
install(DIRECTORY tools/ansible/plugins
  DESTINATION ${CMAKE_INSTALL_DATADIR}/ansible COMPONENT ansible PATTERN __pycache__ EXCLUDE)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orvik)
foreach(kind static shared)
  install(EXPORT orvik_${kind}_targets NAMESPACE orvik:: DESTINATION ${package_dir}
    COMPONENT development)
endforeach()
set(layers_and_uses "set(orvik_layers ${layers})\n")
foreach(layer ${layers})
  get_property(uses GLOBAL PROPERTY ORVIK_${layer}_USES)
  string(APPEND layers_and_uses "set(orvik_${layer}_uses ${uses})\n")
endforeach()
configure_package_config_file(cmake/orvik-config.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/orvik-config.cmake INSTALL_DESTINATION ${package_dir})
# A program that was written for another major version must be changed or built again.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/orvik-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orvik-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/orvik-config-version.cmake DESTINATION ${package_dir}
  COMPONENT development)

file(RELATIVE_PATH prefix_from_pc "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
list(TRANSFORM ORVIK_PUBLIC_DEFINITIONS PREPEND "-D" OUTPUT_VARIABLE cflags_of_definitions)
list(JOIN cflags_of_definitions " " cflags_of_definitions)
# What a program links beside the static libraries.
set(static_requires "tinyxml expat zlib icu-i18n icu-uc")
set(shared_flags "")
set(static_archives "")
foreach(layer ${layers})
  string(PREPEND shared_flags " -lorvik_${layer}")
  string(PREPEND static_archives " \${libdir}/liborvik_${layer}.a")
endforeach()
foreach(package orvik orvik-static)
  configure_file(cmake/${package}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${package}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()
