# 64-bit ARM with Debian's cross compiler; the programs run under qemu's user mode.
include("${CMAKE_CURRENT_LIST_DIR}/debian_sysroot.cmake")
orvik_use_sysroot(arm64 aarch64-linux-gnu aarch64-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${orvik_sysroot})
