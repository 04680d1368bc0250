#!/usr/bin/env bash
# Installs what is missing, then builds and runs the tests for another processor: i386 or arm64.
# The rest of the arguments goes to ctest.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
architecture="${1:-}"
case "$architecture" in
  i386) compiler="g++-i686-linux-gnu" ;;
  arm64) compiler="g++-aarch64-linux-gnu qemu-user" ;;
  *)
    echo "usage: $0 i386|arm64 [ctest arguments]" >&2
    exit 2
    ;;
esac
shift
install_dependencies build test
install_foreign_dependencies "$architecture" "$compiler"
cmake --preset "$architecture"
cmake --build --preset "$architecture"
ctest --preset "$architecture" --parallel "$(nproc)" "$@"
