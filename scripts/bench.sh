#!/usr/bin/env bash
# Installs what is missing, builds everything optimised, runs every benchmark beside its peers and
# prints the table of docs/performance.md; writes build/bench.json and build/bench.md. With --quick
# as the first argument each benchmark runs once and for a shorter time, and the largest stores, files
# and trees are left out: enough to see a change of a half. Other arguments go to the benchmark
# program, for instance --benchmark_filter=Strings.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies build bench
chosen=(--benchmark_repetitions=3 --benchmark_min_time=0.05)
if [ "${1:-}" = --quick ]; then
  shift
  chosen=(--benchmark_repetitions=1 --benchmark_min_time=0.01
    '--benchmark_filter=-:1000000/|/(25000|50000|200000)/|MiB/.*/1024/|Twice|OtherWork|AllButOne|MoveTree')
fi
cmake --preset release
cmake --build --preset release --target orvik_bench postflight orvikprefs
build/release/bin/orvik_bench "${chosen[@]}" --table-json=build/bench.json "$@" | tee build/bench.md
