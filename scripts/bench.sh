#!/usr/bin/env bash
# Installs what is missing, builds everything optimised, runs every benchmark beside its peers and
# prints the table of docs/performance.md; writes build/bench.json and build/bench.md. With --quick
# as the first argument each benchmark runs once and for a shorter time: enough to see a change of
# a half. Other arguments go to the benchmark program, for instance --benchmark_filter=Strings.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies build bench
repetitions=3 time=0.05
if [ "${1:-}" = --quick ]; then
  shift
  repetitions=1 time=0.01
fi
cmake --preset release
cmake --build --preset release --target orvik_bench postflight
build/release/bin/orvik_bench --benchmark_repetitions=$repetitions --benchmark_min_time=$time \
  --table-json=build/bench.json "$@" | tee build/bench.md
