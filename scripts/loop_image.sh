#!/usr/bin/env bash
# Checks on real file systems what a loss of power leaves of a change: copies a loop image after every
# flush of one operation, mounts each copy, and reads it there. As root, where loop images can be
# mounted; otherwise ends with 77.
#   scripts/loop_image.sh [BUILD [FILE_SYSTEM...]]     default build/release, ext4 xfs btrfs
# A file system whose mkfs is missing is left out. Each copy must hold the old state or the new one (the
# installer's run: each value by itself), the copy after an operation that reported success the new one.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:-build/release}")
shift || true
systems=("$@")
[ "${#systems[@]}" -gt 0 ] || systems=(ext4 xfs btrfs)
if [ "$(id -u)" -ne 0 ] || ! command -v strace losetup >/dev/null; then
  echo "Loop images are not checked: this needs root, strace and losetup."
  exit 77
fi
work=$(mktemp -d)
mkdir "$work/mounted" "$work/copy"
clean() {
  umount -q "$work/copy" "$work/mounted" || true
  rm -rf --one-file-system "$work"
}
trap clean EXIT
trap 'exit 1' INT TERM

# Saves a number in a configuration file, or prints the one that is there.
cat >"$work/configure.cpp" <<'END'
#include <cstdio>
#include <cstdlib>

#include "files/file_path.h"
#include "strings/utf8_strings.h"
#include "xml/config_store.h"
using namespace orvik;
int main(int argc, char** argv) {
  SetXMLConfig(1, COrvikFilePath(MakeWideStringFromUTF8String(argv[1])));
  int number = 0;
  if (argc > 2) return !(WriteXMLConfigInt(1, u"K", u"n", std::atoi(argv[2])) && SaveXMLConfigFile(1));
  if (!GetXMLConfigInt(1, u"K", u"n", number)) return 1;
  std::printf("%d\n", number);
}
END
"${CXX:-g++}" -std=c++20 -D_FILE_OFFSET_BITS=64 -I. "$work/configure.cpp" -o "$work/configure" \
  -L"$build/lib" -Wl,--disable-new-dtags,-rpath,"$build/lib" -lorvik_xml -lorvik_files -lorvik_strings

# Of each operation: prepare_X FOLDER VALUE makes the state; operate_X FOLDER VALUE gives the command
# that changes it, in `command`; state_X FOLDER prints "old", "new", or else what it found.
store() {
  local folder=$1
  shift
  "$build/bin/orvikprefs" --root "$folder/root" --home "$folder/home" "$@" 2>&1
}
words_of() {
  command=("$build/bin/orvikprefs" --root "$1/root" --home "$1/home" "${@:2}")
}

prepare_set() { store "$1" --scope "$scope" set K n "$2"; }
operate_set() { words_of "$1" --scope "$scope" set K n "$2"; }
state_set() { store "$1" --scope "$scope" get K n; }

prepare_import() {
  prepare_set "$1" "$2"
  echo '{"n": "new", "other": [1, 2, 3]}' >"$work/import.json"
}
operate_import() { words_of "$1" --scope "$scope" import "$work/import.json" K -q; }
state_import() { state_set "$1"; }

preferences=root/Users/Shared/Library/Preferences
prepare_repair() {
  mkdir -p "$1/$preferences"
  printf '<plist version="1.0"><dict><key>K</key><dict><key>n</key><string>new</string>' >"$work/damaged"
  cp "$work/damaged" "$1/$preferences/com.orviktech.Registry.plist"
}
operate_repair() { words_of "$1" repair -q; }
# The new state keeps a copy of the damaged file.
state_repair() {
  local value=old file
  [ "$(store "$1" get K n)" != new ] || value=new
  for file in "$1/$preferences"/*; do
    cmp -s "$file" "$work/damaged" && echo "$value" && return
  done
  echo "the damaged file is gone"
}

prepare_postflight() {
  operate_postflight "$1" "$2"
  "${command[@]}"
  store "$1" export >"$work/$2.json"
}
operate_postflight() {
  command=(env ORVIK_STRICT=1 "ORVIK_SYSTEM_ROOT=$1/root" "HOME=$1/home" "$build/bin/postflight"
    -pathToPkg /P.pkg -pathToDest "/Applications/$2" -mountPointOfDest "/Volumes/$2"
    -rootOfCurrSystemFolder / -customerLogging 1)
}
state_postflight() {
  store "$1" export >"$work/state.json" || { cat "$work/state.json" && return; }
  [ -e "$work/new.json" ] || sed 's/old/new/g' "$work/old.json" >"$work/new.json"
  if cmp -s "$work/state.json" "$work/new.json"; then
    echo new
  elif grep -vxFf "$work/old.json" "$work/state.json" | grep -qvxFf "$work/new.json"; then
    cat "$work/state.json"
  else
    echo old
  fi
}

prepare_configuration() { "$work/configure" "$1/home/config.xml" 1; }
operate_configuration() { command=("$work/configure" "$1/home/config.xml" 2); }
state_configuration() {
  case "$("$work/configure" "$1/home/config.xml")" in
    1) echo old ;;
    2) echo new ;;
    *) cat "$1/home/config.xml" ;;
  esac
}

# check COPY ALLOWED...: whether the state of the copy is one of these.
check() {
  local copy=$1 state
  shift
  mount -o "$options" "$copy" "$work/copy"
  state=$("state_$operation" "$work/copy") || true
  umount "$work/copy"
  case " $* " in
    *" $state "*) copies=$((copies + 1)) ;;
    *) echo "$system, $operation $scope, $(basename "$copy"): \"$state\" is none of: $*" && exit 1 ;;
  esac
}

# One operation on a new file system.
walk() {
  local image=$work/image tracer flush
  rm -f "$image" "$work"/copy-* "$work"/*.json
  truncate -s 320M "$image"
  "mkfs.$system" -q "$image" >/dev/null
  # A namespace of another process may keep the first one mounted.
  options=loop
  [ "$system" != xfs ] || options=loop,nouuid
  if ! mount -o "$options" "$image" "$work/mounted"; then
    echo "Loop images are not checked: $system cannot be mounted here."
    exit 77
  fi
  mkdir "$work/mounted/root" "$work/mounted/home"
  "prepare_$operation" "$work/mounted" old
  sync -f "$work/mounted"
  # Each flush stops the process, so that the image can be copied as it is on the device.
  "operate_$operation" "$work/mounted" new
  : >"$work/trace"
  strace -f -o "$work/trace" -e trace=fsync,fdatasync,syncfs \
    -e inject=fsync,fdatasync,syncfs:signal=STOP "${command[@]}" &
  tracer=$!
  flushes=0 copies=0
  while kill -0 "$tracer" 2>/dev/null; do
    if [ "$(grep -c 'stopped by SIGSTOP' "$work/trace")" -gt "$flushes" ]; then
      flushes=$((flushes + 1))
      cp --sparse=always "$image" "$work/copy-$flushes"
      pkill -CONT -P "$tracer"
    fi
    sleep 0.01
  done
  wait "$tracer"
  cp --sparse=always "$image" "$work/copy-end"
  umount "$work/mounted"
  for ((flush = 1; flush <= flushes; ++flush)); do
    check "$work/copy-$flush" old new
  done
  check "$work/copy-end" new
  [ "$flushes" -gt 0 ] || { echo "$system: nothing was flushed" && exit 1; }
  echo "$system, $operation ($scope): $flushes flushes, $copies copies are sound"
  checked=$((checked + copies))
}

checked=0
for system in "${systems[@]}"; do
  if ! command -v "mkfs.$system" >/dev/null; then
    echo "$system: left out, because mkfs.$system is missing"
    continue
  fi
  for scope in shared user machine; do
    operation=set walk
  done
  scope=shared
  for operation in import repair postflight configuration; do
    walk
  done
done
[ "$checked" -gt 0 ] || { echo "Loop images are not checked: mkfs is missing." && exit 77; }
