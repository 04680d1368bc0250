#!/usr/bin/env bash
# Programs built with the release flags are hardened, and the check finds one that is not.
# usage: hardening_test.sh WORK_FOLDER COMPILER
set -euo pipefail
work=$1 compiler=$2
here=$(cd "$(dirname "$0")" && pwd)
tree=$(cd "$here/../.." && pwd)
rm -rf "$work"
for shipped in ON OFF; do
  cmake -S "$here/hardening" -B "$work/$shipped" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
    -DORVIK_SOURCE_FOLDER="$tree" -DORVIK_SHIPPED=$shipped -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_FLAGS="-fno-stack-protector" >"$work.log"
  cmake --build "$work/$shipped" >>"$work.log" || { cat "$work.log"; exit 1; }
done
check() { "$tree/scripts/check_hardening.py" "$@"; }
check "$work/ON/bin/whole" "$work/ON/lib/libpart.so"
for file in bin/whole lib/libpart.so; do
  if found=$(check "$work/OFF/$file"); then
    echo "the check finds nothing wrong with $file without the flags"
    exit 1
  fi
  for lack in BIND_NOW "stack protector" FORTIFY; do
    [[ $found == *"$lack"* ]] || { echo "$lack is not missed in: $found"; exit 1; }
  done
done
rm -rf "$work" "$work.log"
