#!/usr/bin/env bash
# Installs what is missing, builds the test preset and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies build test
cmake --preset dev
cmake --build --preset dev
# Two tests for each processor: many of them wait. The stores of these layers and of whole
# programs flush each change, which the layers below do on a disk.
parallel=$(($(nproc) * 2))
flushing='^(prefs|tools|postflight)$'
. scripts/test_folder.sh
folder=$(mktemp -d "$(test_folder)/orvik-XXXXXX")
trap 'rm -rf "$folder"' EXIT
trap 'exit 1' INT TERM
chmod 1777 "$folder"
export ORVIK_TEST_FOLDER=$folder
status=0
ctest --preset dev --parallel "$parallel" --label-exclude "$flushing" "$@" || status=$?
TMPDIR=$folder ctest --preset dev --parallel "$parallel" --label-regex "$flushing" "$@" || status=$?
exit "$status"
