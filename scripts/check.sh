#!/usr/bin/env bash
# The static checks: includes and names of the platform in the whole tree, cppcheck and clang-tidy
# over the folders given, or over all. Ends with 1 when one of them finds something.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies build bench check
folders=("$@")
if [ "${#folders[@]}" -eq 0 ]; then
  folders=(text host platform strings files streams prefs xml postflight tools)
fi
scripts/check_layers.py --exact
cmake --preset release

cppcheck --quiet --std=c++20 --language=c++ --enable=warning,performance,portability \
  --inline-suppr --suppressions-list=.cppcheck-suppressions --error-exitcode=1 \
  -D__x86_64__ -I . "${folders[@]}"

pattern="$(pwd)/($(IFS='|'; echo "${folders[*]}"))/"
run-clang-tidy -quiet -p build/release -j "$(nproc)" "$pattern"
