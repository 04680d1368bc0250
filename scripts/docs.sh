#!/usr/bin/env bash
# Installs what is missing and makes the reference of the public headers in build/docs; any warning
# fails.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies docs
mkdir -p build/docs
layers="text host platform strings files streams prefs xml"
# shellcheck disable=SC2086
headers=$(grep -rl --include='*.h' '^namespace \[\[gnu::visibility("default")\]\] orvik {' $layers | sort)
{ cat docs/Doxyfile && echo INPUT += $headers; } | doxygen -
echo "Reference: build/docs/index.html"
