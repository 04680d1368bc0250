# liborvik.so: all layers in one versioned shared library, from the objects of the static ones. It
# shows the names of namespace orvik alone.
set(layers platform strings files streams prefs xml)
list(TRANSFORM layers REPLACE "(.+)" "$<TARGET_OBJECTS:orvik_\\1>" OUTPUT_VARIABLE objects)

add_library(orvik_shared SHARED ${objects})
add_library(orvik::shared ALIAS orvik_shared)
set(symbols ${CMAKE_CURRENT_LIST_DIR}/orvik.symbols)
set_target_properties(orvik_shared PROPERTIES
  OUTPUT_NAME orvik EXPORT_NAME shared LINKER_LANGUAGE CXX
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_DEPENDS ${symbols})
foreach(layer ${layers})
  get_target_property(libraries orvik_${layer} LINK_LIBRARIES)
  list(FILTER libraries EXCLUDE REGEX "orvik")
  target_link_libraries(orvik_shared PRIVATE ${libraries})
endforeach()
target_link_options(orvik_shared PRIVATE "LINKER:--version-script=${symbols}")
target_compile_features(orvik_shared INTERFACE cxx_std_20)
target_include_directories(orvik_shared INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
  $<INSTALL_INTERFACE:include>
  $<INSTALL_INTERFACE:include/orvik>)

install(TARGETS orvik_shared EXPORT orvik_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
  NAMELINK_COMPONENT development)
