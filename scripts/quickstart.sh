#!/usr/bin/env bash
# Installs what is missing, builds the tool (without optimisation, which takes longer) and runs it
# once as an installer would, into a folder of its own (the first argument, default
# build/quickstart); then shows the log and what was recorded.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies build
cmake --preset quick
cmake --build --preset quick --target postflight

folder=${1:-$PWD/build/quickstart}
mkdir -p "$folder/root/Library/Receipts" "$folder/home"
touch "$folder/root/Library/Receipts/Pollix Components.pkg"

echo
echo "== The tool's log"
status=0
ORVIK_SYSTEM_ROOT="$folder/root" HOME="$folder/home" ORVIK_LOG_STDERR=1 \
  build/quick/bin/postflight \
  -pathToPkg /Volumes/Installer/Pagewell.pkg \
  -pathToDest "/Applications/ORVIK Pagewell" \
  -mountPointOfDest /Volumes/Data \
  -rootOfCurrSystemFolder / \
  -customerLogging 1 || status=$?
# The tool ends with 1 whether it recorded the values or not; the file below shows them.
if [ "$status" -ne 1 ]; then
  echo "postflight ended with status $status" >&2
  exit 1
fi

file="$folder/root/Users/Shared/Library/Preferences/com.orviktech.Registry.plist"
echo
echo "== Recorded in $file"
cat "$file"
