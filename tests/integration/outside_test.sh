#!/usr/bin/env bash
# Installs the build into an empty folder and builds an outside program against what stands there:
# with CMake (shared and static) and with pkg-config. Compiles every installed header alone.
# usage: outside_test.sh BUILD_FOLDER WORK_FOLDER COMPILER FLAGS
set -euo pipefail
build=$1 work=$2 compiler=$3 flags=$4
source=$(cd "$(dirname "$0")/outside" && pwd)
rm -rf "$work"
mkdir -p "$work/root" "$work/home"
prefix=$work/first
cmake --install "$build" --prefix "$prefix" >"$work/install.log"
# What is installed may be moved.
mv "$prefix" "$work/prefix"
prefix=$work/prefix
libraries=$(dirname "$(find "$prefix" -name 'liborvik_xml.so')")
export ORVIK_SYSTEM_ROOT=$work/root HOME=$work/home TMPDIR=$work

check() {
  local answer
  answer=$("$@")
  if [[ $answer != "Hello, outside report.txt <outside"* ]]; then
    echo "$1 answered: $answer"
    exit 1
  fi
}

cmake -S "$source" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >"$work/configure.log"
cmake --build "$work/cmake" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
check "$work/cmake/outside_shared"
check "$work/cmake/outside_static"
if ldd "$work/cmake/outside_static" | grep liborvik; then
  echo "the static program needs shared libraries"
  exit 1
fi

export PKG_CONFIG_PATH=$libraries/pkgconfig
# shellcheck disable=SC2046,SC2086
"$compiler" -std=c++20 $flags $(pkg-config --cflags orvik) "$source/program.cpp" \
  -o "$work/by_pkg_config" $(pkg-config --libs orvik)
check env LD_LIBRARY_PATH="$libraries" "$work/by_pkg_config"

# A header that its own source includes first has been compiled alone; the others are here. All of
# them together show that no installed header needs one that is not.
tree=$(cd "$source/../../.." && pwd)
cd "$prefix/include/orvik"
for header in */*.h */*/*.h; do
  echo "#include \"$header\"" >>"$work/all.cpp"
  own=$tree/${header%.h}.cpp
  if [ ! -f "$own" ] || [ "$(grep -m1 '^#include' "$own")" != "#include \"$header\"" ]; then
    echo "$header"
  fi
done >"$work/alone.txt"
echo "$work/all.cpp" >>"$work/alone.txt"
xargs -P 2 -I{} "$compiler" -std=c++20 -fsyntax-only -w -x c++ -I. {} <"$work/alone.txt"
rm -rf "$work"
