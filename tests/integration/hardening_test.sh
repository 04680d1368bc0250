#!/usr/bin/env bash
# The check of what is shipped misses each guard of a program and a library that are built without
# the flags of a release. scripts/package.sh runs the check on what is built with them.
# usage: hardening_test.sh WORK_FOLDER COMPILER
set -euo pipefail
work=$1 compiler=$2
check=$(cd "$(dirname "$0")/../.." && pwd)/scripts/check_hardening.py
rm -rf "$work"
mkdir -p "$work"
echo 'int main(int argc, char**) { return argc > 9; }' >"$work/plain.cpp"
bare=(-O2 -fno-stack-protector -U_FORTIFY_SOURCE -Wl,-z,lazy "$work/plain.cpp")
"$compiler" "${bare[@]}" -o "$work/whole"
"$compiler" "${bare[@]}" -fPIC -shared -o "$work/part.so"
for file in whole part.so; do
  if found=$("$check" "$work/$file"); then
    echo "the check finds nothing wrong with $file"
    exit 1
  fi
  for lack in BIND_NOW "stack protector" FORTIFY; do
    [[ $found == *"$lack"* ]] || { echo "$lack is not missed in: $found"; exit 1; }
  done
done
rm -rf "$work"
