#!/usr/bin/env bash
# The static checks: the layers and the names of the platform in the whole tree; cppcheck and
# clang-tidy over the folders given, or over all. Ends with 1 when one of them finds something.
#   scripts/check.sh [FOLDER...]
#   scripts/check.sh --since COMMIT      the sources that changed since then
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies build bench check
scripts/check_layers.py --exact

folders=(text host desktop plist platform strings files streams prefs xml postflight tools)
sources=("${folders[@]}")
if [ "${1:-}" = --since ]; then
  if git rev-parse --quiet --verify "$2^{commit}" >/dev/null; then
    mapfile -t sources < <(git diff --name-only --diff-filter=d "$2" -- "${folders[@]/%//*.cpp}")
    if [ "${#sources[@]}" -eq 0 ]; then
      echo "No source changed since $2."
      exit 0
    fi
  fi
elif [ "$#" -gt 0 ]; then
  sources=("$@")
fi
cmake --preset release

cppcheck --quiet --std=c++20 --language=c++ --enable=warning,performance,portability \
  --inline-suppr --suppressions-list=.cppcheck-suppressions --error-exitcode=1 \
  -D__x86_64__ -I . "${sources[@]}"

pattern="$(pwd)/($(IFS='|'; echo "${sources[*]}"))(/|\$)"
run-clang-tidy -quiet -p build/release -j "$(nproc)" "$pattern"
