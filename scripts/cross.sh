#!/usr/bin/env bash
# Builds for another processor and runs the tests there: i386 or arm64 (under qemu's user mode).
#   scripts/cross.sh i386|arm64 [ctest argument...]
# The libraries of that processor are unpacked into build/sysroot-ARCHITECTURE; of this machine only
# the cross compiler, qemu and mmdebstrap are installed.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
architecture="${1:-}"
# The packages are made for this machine.
left_out=(PackagesTest)
case "$architecture" in
  i386) ;;
  arm64)
    # No program of that processor is started by another one.
    left_out+=(BrowseTest CompletionTest PostflightTest
      OrvikPrefsTest.WatchesAFolder SharedLockTest.NeverTwoHolders)
    # The emulator shows the sysroot for "/", its own name for the program's, no seccomp filters and
    # no numbers of mounts.
    left_out+=(FSRefTest.PathsLeadToTheirObjects Processes.AZombie
      SharedLockTest.RecordsOfOtherProcesses InstallInformationTest.AHeldLock
      TrashTest.OtherVolumes)
    ;;
  *)
    echo "usage: $0 i386|arm64 [ctest argument...]" >&2
    exit 2
    ;;
esac
shift
install_dependencies build test "cross_$architecture"
unpack_sysroot "$architecture" "build/sysroot-$architecture"
cmake --preset "$architecture"
cmake --build --preset "$architecture"
ctest --preset "$architecture" --parallel "$(nproc)" \
  --exclude-regex "^($(IFS='|'; echo "${left_out[*]}"))" "$@"
