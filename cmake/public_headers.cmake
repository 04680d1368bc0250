# orvik_public_headers(RESULT SOURCE_FOLDER): the headers that are installed, as paths below the
# source folder. They are the public headers (CONTRIBUTING.md) of the layers from strings/ upward,
# the statuses that some of their functions return, and of the layers below them the headers that
# these include.
#
# As a script, prints them:  cmake -P cmake/public_headers.cmake
cmake_policy(VERSION 3.25)

# Headers that became part of another one, and that one. Programs may still include the first until
# 4.0: it is installed as a header that includes the second.
set(orvik_forwarded_headers
  files/c_file.h files/whole_file.h
  files/edition.h files/directory_path.h
  files/last_error.h files/windows_files.h
  files/pascal_strings.h files/counted_strings.h
  files/path_rules.h files/path_text.h
  files/storage_files.h files/windows_files.h
  files/task_memory.h files/global_memory.h
  files/trace.h files/messages.h
  files/tree_report.h files/progress.h
  files/wildcard.h files/path_text.h
  files/windows_file_attributes.h files/windows_files.h
  files/windows_file_refs.h files/path_arguments.h
  files/windows_find.h files/windows_files.h
  files/windows_temp_names.h files/windows_files.h
  files/windows_time.h files/windows_files.h
  prefs/auto_release.h strings/auto_release.h
  prefs/dictionary_type.h prefs/preferences.h
  prefs/preference_value.h prefs/typed_preferences.h
  prefs/result_codes.h prefs/preferences.h
  streams/copy_piece.h streams/write_buffer.h
  streams/finishable_stream.h streams/stream_interfaces.h
  streams/readable_compressed_file_stream.h streams/compressed_file_stream.h
  streams/reference_counted.h streams/com_ptr.h
  streams/writable_compressed_file_stream.h streams/compressed_file_stream.h
  streams/write_room.h streams/write_buffer.h
  strings/checked_conversions.h strings/utf8_strings.h
  strings/guid.h strings/unknown.h
  strings/uca_conversions.h strings/uca.h
  strings/uca_format.h strings/uca.h
  xml/config_globals.h xml/config_store.h
  xml/document_error.h xml/tixml_helper.h)

function(orvik_public_headers result source)
  set(public "^namespace \\[\\[gnu::visibility\\(.default.\\)\\]\\] (orvik|plist) {")
  set(waiting platform/core_foundation/errno_status.h plist/forms.h)
  foreach(layer strings files streams prefs xml)
    file(GLOB_RECURSE headers RELATIVE "${source}" "${source}/${layer}/*.h")
    foreach(header ${headers})
      file(STRINGS "${source}/${header}" visible REGEX "${public}" LIMIT_COUNT 1)
      if(visible)
        list(APPEND waiting ${header})
      endif()
    endforeach()
  endforeach()
  set(found "")
  while(waiting)
    list(POP_FRONT waiting header)
    if(header IN_LIST found)
      continue()
    endif()
    list(APPEND found ${header})
    file(STRINGS "${source}/${header}" visible REGEX "${public}" LIMIT_COUNT 1)
    if(NOT visible)
      message(FATAL_ERROR "${header} is not public, but a public header includes it")
    endif()
    file(STRINGS "${source}/${header}" includes REGEX "^#include \"")
    foreach(include ${includes})
      string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" include "${include}")
      list(APPEND waiting ${include})
    endforeach()
  endwhile()
  list(SORT found)
  set(${result} ${found} PARENT_SCOPE)
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  get_filename_component(source "${CMAKE_CURRENT_LIST_DIR}" DIRECTORY)
  orvik_public_headers(headers "${source}")
  foreach(header ${headers})
    execute_process(COMMAND ${CMAKE_COMMAND} -E echo ${header})
  endforeach()
endif()
