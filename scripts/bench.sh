#!/usr/bin/env bash
# Installs what is missing, builds everything optimised, runs every benchmark beside its peers and
# prints the table of docs/performance.md; writes build/bench.json and build/bench.md. Arguments go
# to the benchmark program, for instance --benchmark_filter=Strings.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies build bench
cmake --preset release
cmake --build --preset release --target orvik_bench postflight
build/release/bin/orvik_bench --benchmark_repetitions=5 --benchmark_min_time=0.1 \
  --table-json=build/bench.json "$@" | tee build/bench.md
