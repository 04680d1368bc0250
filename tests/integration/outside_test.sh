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

cd "$prefix/include/orvik"
# shellcheck disable=SC2016
find . -name '*.h' | sort | xargs -P 2 -I{} "$compiler" -std=c++20 -fsyntax-only -x c++ \
  -I"$prefix/include/orvik" {}
echo "$(find . -name '*.h' | wc -l) headers compile alone"
rm -rf "$work"
