#!/usr/bin/env bash
# Installs what is missing, builds the test preset and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies build test
cmake --preset dev
cmake --build --preset dev
# One test more than there are processors: some of them wait.
ctest --preset dev --parallel "$(($(nproc) + 1))" "$@"
