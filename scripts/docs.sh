#!/usr/bin/env bash
# Installs what is missing and makes the reference of the public headers in build/docs; any warning
# fails.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies docs
mkdir -p build/docs
# shellcheck disable=SC2046
{ cat docs/Doxyfile && echo INPUT += $(cmake -P cmake/public_headers.cmake); } | doxygen -
echo "Reference: build/docs/index.html"
