#!/usr/bin/env bash
# Installs the build into an empty folder, moves what is installed, and builds an outside program
# against it: with CMake, Meson and pkg-config, on the shared and on the static libraries. Compiles
# every installed header alone. The manuals name the version of the build.
# usage: outside_test.sh BUILD_FOLDER WORK_FOLDER COMPILER FLAGS
set -euo pipefail
build=$1 work=$2 compiler=$3 flags=$4
source=$(cd "$(dirname "$0")/outside" && pwd)
tree=$(cd "$source/../../.." && pwd)
rm -rf "$work"
mkdir -p "$work/root" "$work/home"
prefix=$work/first
cmake --install "$build" --prefix "$prefix" >"$work/install.log"
# An installed tree may be moved.
mv "$prefix" "$work/prefix"
prefix=$work/prefix
libraries=$(dirname "$(find "$prefix" -name 'liborvik_xml.so')")
export ORVIK_SYSTEM_ROOT=$work/root HOME=$work/home TMPDIR=$work
unset LD_LIBRARY_PATH

fail() {
  echo "$*"
  exit 1
}

# check KIND PROGRAM: it runs as it is, and needs shared libraries of ours only if it is "shared".
check() {
  local answer needed=static
  answer=$("$2") || fail "$2 ended with $?"
  [[ $answer == "Hello, outside report.txt <outside"* ]] || fail "$2 answered: $answer"
  if [[ $(ldd "$2") == *liborvik* ]]; then needed=shared; fi
  [ "$needed" = "$1" ] || fail "$2 uses the $needed libraries"
}

cmake -S "$source" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >"$work/configure.log"
cmake --build "$work/cmake" >"$work/build.log" || fail "$(cat "$work/build.log")"
check shared "$work/cmake/outside_shared"
check static "$work/cmake/outside_static"

# The flags of pkg-config are enough. Of the run path only the first library needs to be given.
export PKG_CONFIG_PATH=$libraries/pkgconfig
# shellcheck disable=SC2046,SC2086
{
  "$compiler" $flags "$source/program.cpp" -o "$work/shared_by_pkg_config" \
    $(pkg-config --cflags --libs orvik) -Wl,-rpath,"$(pkg-config --variable=libdir orvik)"
  "$compiler" $flags "$source/program.cpp" -o "$work/static_by_pkg_config" \
    $(pkg-config --cflags --libs orvik-static)
}
check shared "$work/shared_by_pkg_config"
check static "$work/static_by_pkg_config"

# Everything is linked statically, and under the sanitizers, which need the C library's shared parts,
# all that pkg-config names beside those.
whole=(-static) shared_part=none
if [ -n "$flags" ]; then whole=(-Wl,-Bdynamic) shared_part=-lm; fi
# shellcheck disable=SC2046,SC2086
"$compiler" $flags "$source/program.cpp" -o "$work/whole_by_pkg_config" -Wl,-Bstatic \
  $(pkg-config --static --cflags --libs orvik | sed "s/ $shared_part\\>//g") "${whole[@]}" 2>"$work/link.log" ||
  fail "$(cat "$work/link.log")"
if readelf --dynamic "$work/whole_by_pkg_config" | grep -E 'NEEDED.*lib(orvik|icu|tinyxml|expat|z)'; then
  fail "pkg-config --static is not all that a program needs"
fi
[[ $("$work/whole_by_pkg_config") == "Hello, outside"* ]] || fail "the static program does not run"

if command -v meson >/dev/null; then
  CXX=$compiler CXXFLAGS=$flags LDFLAGS=$flags meson setup "$work/meson" "$source" \
    >"$work/meson.log" || fail "$(cat "$work/meson.log")"
  meson compile -C "$work/meson" >"$work/meson.log" || fail "$(cat "$work/meson.log")"
  check shared "$work/meson/outside_shared"
  check static "$work/meson/outside_static"
fi

version=$(pkg-config --modversion orvik)
for page in "$tree"/docs/*.[1-8]; do
  installed=$(find "$prefix/share/man" -name "${page##*/}")
  diff <(sed "1s/\"orvik\"/\"orvik $version\"/" "$page") "$installed" ||
    fail "$page does not name the version"
done

# Installed are the public headers, and each includes others only as orvik/..., and only those that
# are installed. A project may have files of the same names.
cd "$prefix/include"
# Old names, which hold nothing but the include of the header that took their place.
forwarded=$(grep -rl "Only for programs that still include this name" orvik)
listed=$(sed -n '/^set(orvik_forwarded_headers/,/)$/p' "$tree/cmake/public_headers.cmake" | grep -c '\.h ')
[ "$(echo "$forwarded" | wc -l)" -eq "$listed" ] || fail "the headers of old names are not there"
public() { find orvik -name '*.h' | grep -vxF "$forwarded"; }
diff <(public | sed 's,^orvik/,,' | LC_ALL=C sort) \
  <(cmake -P "$tree/cmake/public_headers.cmake" | LC_ALL=C sort) ||
  fail "the installed headers are not the public ones"
if grep -rhE '^ *# *include *"' orvik | grep -v '#include "orvik/'; then
  fail "an installed header includes another not as orvik/..."
fi
for header in $(grep -rhoE '#include "orvik/[^"]+' orvik | sed 's/.*"//' | sort -u); do
  [ -f "$header" ] || fail "$header is included but not installed"
done
# A header that its own source includes first has been compiled alone; the others are here.
for header in $forwarded; do echo "#include \"$header\""; done >"$work/all.cpp"
for header in $(public | sed 's,^orvik/,,'); do
  echo "#include \"orvik/$header\"" >>"$work/all.cpp"
  own=$tree/${header%.h}.cpp
  if [ ! -f "$own" ] || [ "$(grep -m1 '^#include' "$own")" != "#include \"$header\"" ]; then
    echo "orvik/$header"
  fi
done >"$work/alone.txt"
echo "$work/all.cpp" >>"$work/alone.txt"
# All together with the headers of libraries that define macros of our names, before ours and after them.
foreign=$(printf '#include "%s"\n' curses.h "$source/foreign_macros.h")
echo "$foreign" | cat - "$work/all.cpp" >"$work/foreign_first.cpp"
{
  cat "$work/all.cpp"
  echo "orvik::BOOL answer = orvik::TRUE;"
  echo "$foreign"
  echo "BOOL other_answer = TRUE;"
} >"$work/foreign_last.cpp"
printf '%s\n' "$work/foreign_first.cpp" "$work/foreign_last.cpp" >>"$work/alone.txt"
xargs -P 2 -I{} "$compiler" -std=c++20 -fsyntax-only -w -x c++ -I. {} <"$work/alone.txt"

# From a build that is not finished nothing is installed.
cmake -S "$tree" -B "$work/unbuilt" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" >"$work/unbuilt.log"
for component in "" "--component tool" "--component development"; do
  # shellcheck disable=SC2086
  if cmake --install "$work/unbuilt" --prefix "$work/none" $component >"$work/none.log" 2>&1; then
    fail "an unfinished build was installed"
  fi
  tr -s "\n " " " <"$work/none.log" | grep -q "so nothing is installed" || fail "$(cat "$work/none.log")"
  [ ! -e "$work/none" ] || fail "half installed: $(find "$work/none")"
done
cd "$tree"
rm -rf "$work"
