#!/usr/bin/env bash
# Installs the build, builds the installed examples on what is installed, runs each, and runs the commands that
# the documents show.
# usage: examples_test.sh BUILD_FOLDER WORK_FOLDER COMPILER FLAGS
set -euo pipefail
build=$1 work=$2
export CXX=$3 CXXFLAGS=$4
tree=$(cd "$(dirname "$0")/../.." && pwd)
rm -rf "$work"
mkdir -p "$work/root" "$work/home"
cmake --install "$build" --prefix "$work/prefix" >"$work/install.log"
unset LD_LIBRARY_PATH

fail() {
  echo "$*"
  exit 1
}

cmake -S "$work/prefix/share/doc/liborvik-dev/examples" -B "$work/examples" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_BUILD_TYPE=None >"$work/configure.log"
cmake --build "$work/examples" -j 2 >"$work/build.log" || fail "$(cat "$work/build.log")"
ctest --test-dir "$work/examples" --output-on-failure --timeout 60

export ORVIK_SYSTEM_ROOT=$work/root HOME=$work/home TMPDIR=$work
PATH=$work/prefix/sbin:$work/prefix/bin:$PATH
python3 "$tree/tests/integration/documents_test.py" "$tree" "$work/documents" "$work/prefix"

# The installer's step: the first time, over a damaged store, and where nothing can be recorded.
step=("$tree/examples/installer_step.sh" /packages/app.pkg /opt/app)
store=$work/root/Users/Shared/Library/Preferences/com.orviktech.Registry.plist
[ "$("${step[@]}")" = "Recorded: /opt/app/" ] || fail "the installer's step did not record"
echo "<plist><dict>" >"$store"
[ "$("${step[@]}" 2>"$work/damaged.log")" = "Recorded: /opt/app/" ] ||
  fail "the installer's step did not repair: $(cat "$work/damaged.log")"
rm -f "$store"
mkdir "$store"
if "${step[@]}" >"$work/refused.log" 2>&1; then fail "the installer's step claims success"; fi
grep -q "$store" "$work/refused.log" || fail "no reason is given: $(cat "$work/refused.log")"
rm -rf "$work"
