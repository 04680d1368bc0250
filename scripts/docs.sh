#!/usr/bin/env bash
# Installs what is missing and makes the reference of the headers in build/docs; any warning fails.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies docs
mkdir -p build/docs
doxygen docs/Doxyfile
echo "Reference: build/docs/index.html"
