#!/usr/bin/env bash
# Builds the fuzz targets and runs each for a while, one after the other:
#   scripts/fuzz.sh [seconds] [target...]      60 seconds and every target when not given
# Each starts with its corpus (fuzz/corpus) and dictionary (fuzz/dictionaries). Prints how often each
# ran. Stops at the first finding, and says which input repeats it. With TMPDIR=/dev/shm those that
# write files run faster.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies build fuzz
seconds="${1:-60}"
shift || true
targets=("$@")
if [ "${#targets[@]}" -eq 0 ]; then
  for source in fuzz/*_fuzzer.cpp; do targets+=("$(basename "$source" _fuzzer.cpp)"); done
fi

cmake --preset fuzz
cmake --build --preset fuzz --target "${targets[@]/%/_fuzzer}"

findings=build/fuzz/findings
mkdir -p "$findings"
printf '%-28s %12s %10s\n' target executions corpus
for target in "${targets[@]}"; do
  options=(-max_total_time="$seconds" -timeout=25 -rss_limit_mb=2560 -max_len=4096
    -print_final_stats=1 -artifact_prefix="$findings/$target-")
  if [ -f "fuzz/dictionaries/$target.dict" ]; then
    options+=(-dict="fuzz/dictionaries/$target.dict")
  fi
  # New inputs go to the first folder; the corpus of the repository stays as it is.
  grown="build/fuzz/corpus/$target"
  log="$findings/$target.log"
  mkdir -p "$grown"
  if ! "build/fuzz/bin/${target}_fuzzer" "${options[@]}" "$grown" "fuzz/corpus/$target" >"$log" 2>&1
  then
    tail -n 60 "$log"
    echo "FINDING in $target; its output is in $log. To repeat it:"
    echo "  build/fuzz/bin/${target}_fuzzer $(ls -t "$findings/$target"-* 2>/dev/null | head -n 1)"
    exit 1
  fi
  printf '%-28s %12s %10s\n' "$target" \
    "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")" "$(find "$grown" -type f | wc -l)"
done
