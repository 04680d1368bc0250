#!/usr/bin/env bash
# Builds for another processor and runs the tests there: i386 or arm64 (under qemu's user mode).
#   scripts/cross.sh i386|arm64 [ctest argument...]
# The libraries of that processor are unpacked into build/sysroot-ARCHITECTURE; of this machine only
# the cross compiler, qemu and mmdebstrap are installed.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
architecture="${1:-}"
case "$architecture" in
  i386 | arm64) shift ;;
  *)
    echo "usage: $0 i386|arm64 [ctest argument...]" >&2
    exit 2
    ;;
esac
install_dependencies build test "cross_$architecture"
unpack_sysroot "$architecture" "build/sysroot-$architecture"
cmake --preset "$architecture"
cmake --build --preset "$architecture"
ctest --preset "$architecture" --parallel "$(nproc)" "$@"
