# What the toolchains of other processors share: headers, libraries and package descriptions come
# from build/sysroot-ARCHITECTURE (scripts/cross.sh makes it), never from this machine.
# orvik_use_sysroot(<Debian's name of the architecture> <GNU triplet> <multiarch folder>)
function(orvik_use_sysroot architecture triplet multiarch)
  cmake_path(SET sysroot NORMALIZE
    "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../../build/sysroot-${architecture}")
  set(CMAKE_SYSTEM_NAME Linux PARENT_SCOPE)
  set(CMAKE_CXX_COMPILER ${triplet}-g++ PARENT_SCOPE)
  set(CMAKE_LIBRARY_ARCHITECTURE ${multiarch} PARENT_SCOPE)
  set(CMAKE_SYSROOT ${sysroot} PARENT_SCOPE)
  foreach(kind LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY PARENT_SCOPE)
  endforeach()
  set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER PARENT_SCOPE)
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${sysroot})
  set(ENV{PKG_CONFIG_LIBDIR}
    "${sysroot}/usr/lib/${multiarch}/pkgconfig:${sysroot}/usr/share/pkgconfig")
  set(orvik_sysroot ${sysroot} PARENT_SCOPE)
endfunction()
