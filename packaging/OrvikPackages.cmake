# cpack: Debian packages, one per install component.
#
#   component      package           holds
#   tool           orvik-postflight  the installer's tool and its manual page
#   command-line   orvikprefs        the administrator's command line, manual page, completions
#   library-LAYER  liborvik-LAYER3   the shared library of a layer
#   development    liborvik-dev      headers, static libraries, CMake and pkg-config files, documents,
#                                    examples
#   ansible        orvik-ansible     the Ansible module
#
# Programs and shared libraries have their debug symbols in a package of the same name with "-dbgsym".

set(packages
  "tool|orvik-postflight" "command-line|orvikprefs" "development|liborvik-dev"
  "ansible|orvik-ansible")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvik)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "ORVIK maintainers <maintainers@orvik.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
# The debug symbols go to packages of their own when the files are stripped.
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/finish_tree.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/finish_packages.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOL_DESCRIPTION "record where an installer put ORVIK Pagewell
The last step of an installation: reads the installer's arguments, logs them
and records in the ORVIK preference store where the application, its tools
and its components live.")

set(CPACK_DEBIAN_COMMAND-LINE_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_COMMAND-LINE_DESCRIPTION "command line for the ORVIK preference store
Shows, changes, compares and repairs what ORVIK programs record in their
registry-like preference store, and names the holder of its lock.")

# The programs load ICU when they need it (text/unicode_library.h), which dpkg-shlibdeps cannot see.
string(REGEX MATCH "^[0-9]+" icu_version "${ICU_VERSION}")
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libicu${icu_version}")
set(CPACK_DEBIAN_COMMAND-LINE_PACKAGE_DEPENDS "libicu${icu_version}")

set(CPACK_DEBIAN_ANSIBLE_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_DEPENDS "ansible-core | ansible")
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_RECOMMENDS "orvikprefs")
set(CPACK_DEBIAN_ANSIBLE_DESCRIPTION "Ansible module for the ORVIK preference store
The module orvik_preference brings values and keys of the ORVIK preference
store into the wanted state. The managed machines need orvikprefs.")

set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
foreach(layer ${layers})
  list(APPEND packages "library-${layer}|liborvik-${layer}${PROJECT_VERSION_MAJOR}")
  string(TOUPPER library-${layer} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "ORVIK support library (${layer})
Windows-style strings, files, streams, XML and a registry-like preference
store. This package holds the shared library of its layer ${layer}.")
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/triggers)
  get_property(uses GLOBAL PROPERTY ORVIK_${layer}_USES)
  list(TRANSFORM uses PREPEND library-)
  set(CPACK_COMPONENT_${upper}_DEPENDS ${uses})
endforeach()

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libboost-dev, libexpat1-dev, libicu-dev, libtinyxml-dev, zlib1g-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "ORVIK support library (development files)
Windows-style strings, files, streams, XML and a registry-like preference
store. This package holds the headers, the static libraries, the files for
CMake and pkg-config, the documents and the examples.")

get_cmake_property(installed_components COMPONENTS)
foreach(pair ${packages})
  string(REPLACE "|" ";" pair ${pair})
  list(GET pair 0 component)
  list(GET pair 1 package)
  if(NOT component IN_LIST installed_components)
    continue()
  endif()
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright DESTINATION share/doc/${package}
    COMPONENT ${component})
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/changelog DESTINATION share/doc/${package}
    COMPONENT ${component} RENAME changelog.Debian)
  set(overrides "")
  string(REGEX REPLACE "-.*" "" kind ${component})
  foreach(list all ${kind})
    if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/overrides/${list})
      file(READ ${CMAKE_CURRENT_LIST_DIR}/overrides/${list} lines)
      string(APPEND overrides "${lines}")
    endif()
  endforeach()
  file(CONFIGURE OUTPUT overrides/${package} CONTENT "${overrides}" @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/overrides/${package}
    DESTINATION share/lintian/overrides COMPONENT ${component})
endforeach()
foreach(layer ${layers})
  string(PREPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "liborvik-${layer}${PROJECT_VERSION_MAJOR} \
(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), ")
endforeach()
include(CPack)
