#!/usr/bin/env bash
# Checks on real file systems what a loss of power leaves of a change: copies a loop image after every
# flush of one operation, mounts each copy, and reads the store there. As root, where loop images can
# be mounted; otherwise ends with 77.
#   scripts/loop_image.sh [BIN [FILE_SYSTEM...]]     default build/release/bin, ext4 xfs btrfs
# A file system whose mkfs is missing is left out. Of each copy the value must be the old or the new
# one, of the copy after an operation that reported success the new one.
set -euo pipefail
cd "$(dirname "$0")/.."
bin=$(realpath "${1:-build/release/bin}")
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

# store FOLDER ARGUMENT...: the command line on the store in the folder.
store() {
  local folder=$1
  shift
  "$bin/orvikprefs" --root "$folder/root" --home "$folder/home" "$@"
}

# check FILE_SYSTEM COPY ALLOWED...: whether the value in the copy is one of these.
check() {
  local system=$1 copy=$2 value
  shift 2
  mount -o loop "$copy" "$work/copy"
  value=$(store "$work/copy" --scope "$scope" get K n 2>&1) || true
  umount "$work/copy"
  case " $* " in
    *" $value "*) copies=$((copies + 1)) ;;
    *) echo "$system, $copy: \"$value\" is none of: $*" && exit 1 ;;
  esac
}

checked=0
for system in "${systems[@]}"; do
  if ! command -v "mkfs.$system" >/dev/null; then
    echo "$system: left out, because mkfs.$system is missing"
    continue
  fi
  for scope in shared user machine; do
    image=$work/image
    rm -f "$image" "$work"/copy-*
    truncate -s 320M "$image"
    "mkfs.$system" -q "$image" >/dev/null
    if ! mount -o loop "$image" "$work/mounted"; then
      echo "Loop images are not checked: $system cannot be mounted here."
      exit 77
    fi
    mkdir "$work/mounted/root" "$work/mounted/home"
    store "$work/mounted" --scope "$scope" set K n old
    sync -f "$work/mounted"
    # Each flush stops the process, so that the image can be copied as it is on the device.
    strace -f -o "$work/trace" -e trace=fsync,fdatasync,syncfs \
      -e inject=fsync,fdatasync,syncfs:signal=STOP \
      "$bin/orvikprefs" --root "$work/mounted/root" --home "$work/mounted/home" --scope "$scope" \
      set K n new &
    tracer=$!
    flushes=0 copies=0
    while kill -0 "$tracer" 2>/dev/null; do
      child=$(pgrep -P "$tracer" || true)
      if [ -n "$child" ] && [ "$(grep -c 'stopped by SIGSTOP' "$work/trace")" -gt "$flushes" ]; then
        flushes=$((flushes + 1))
        cp --sparse=always "$image" "$work/copy-$flushes"
        kill -CONT "$child"
      fi
      sleep 0.01
    done
    wait "$tracer"
    cp --sparse=always "$image" "$work/copy-end"
    umount "$work/mounted"
    for ((flush = 1; flush <= flushes; ++flush)); do
      check "$system" "$work/copy-$flush" old new
    done
    check "$system" "$work/copy-end" new
    [ "$flushes" -gt 0 ] || { echo "$system: nothing was flushed" && exit 1; }
    echo "$system, $scope: $flushes flushes, $copies copies are sound"
    checked=$((checked + copies))
  done
done
[ "$checked" -gt 0 ] || { echo "Loop images are not checked: mkfs is missing." && exit 77; }
