# 32-bit x86 with Debian's cross compiler; the programs run on a 64-bit machine as they are, with
# the loader and the libraries of the sysroot.
include("${CMAKE_CURRENT_LIST_DIR}/debian_sysroot.cmake")
orvik_use_sysroot(i386 i686-linux-gnu i386-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_CROSSCOMPILING_EMULATOR
  env GCONV_PATH=${orvik_sysroot}/usr/lib/i386-linux-gnu/gconv)  # the tests compare with iconv
set(own_libraries "-Wl,--disable-new-dtags -Wl,-rpath,${orvik_sysroot}/lib/i386-linux-gnu"
  ":${orvik_sysroot}/usr/lib/i386-linux-gnu")
string(CONCAT CMAKE_SHARED_LINKER_FLAGS_INIT ${own_libraries})
string(CONCAT CMAKE_EXE_LINKER_FLAGS_INIT
  ${own_libraries} " -Wl,--dynamic-linker,${orvik_sysroot}/lib/ld-linux.so.2")
