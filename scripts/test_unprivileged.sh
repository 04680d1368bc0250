#!/usr/bin/env bash
# Runs the tests once more as a user without root's rights, after scripts/test.sh has built them:
# for root nothing is unreadable. Uses the account orvik-tests and creates it if it is missing. For
# an ordinary user scripts/test.sh is this run already, so there is nothing to do.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "$(id -u)" -ne 0 ]; then
  echo "The tests have run without root's rights."
  exit 0
fi
account=orvik-tests
if ! id "$account" >/dev/null 2>&1; then
  useradd --system --user-group --no-create-home --shell /usr/sbin/nologin "$account"
fi
group=$(id -g "$account")
tree=$(pwd)
as_account() {
  setpriv --reuid "$account" --regid "$group" --clear-groups "$@"
}
reaches() {
  as_account test -r "$1/CMakePresets.json"
}
# The way to a tree below a folder of root's alone is opened where nobody else sees it: in a mount
# namespace of this script's own.
if ! reaches "$tree" && [ -z "${ORVIK_OWN_MOUNTS:-}" ] && unshare --mount true 2>/dev/null; then
  ORVIK_OWN_MOUNTS=1 exec unshare --mount -- "$tree/scripts/test_unprivileged.sh" "$@"
fi
. scripts/test_folder.sh
home=$(mktemp -d "$(test_folder)/orvik-XXXXXX")
trap 'rm -rf "$home"; chown -R 0:0 "$tree/build/dev"' EXIT
trap 'exit 1' INT TERM
mkdir -m 1777 "$home/tmp"
as_user=(as_account env "TMPDIR=$home/tmp" "ORVIK_TEST_FOLDER=$home/tmp" "HOME=$home" "USER=$account"
  "LOGNAME=$account" "CCACHE_DIR=$home/ccache" "ANSIBLE_REMOTE_TMP=$home/ansible")
chown "$account:$group" "$home"
if ! reaches "$tree" && [ -n "${ORVIK_OWN_MOUNTS:-}" ]; then
  # An empty folder covers the first one that the account may not enter, and holds the tree alone.
  hidden=/
  while as_account test -x "$hidden" && [ "$hidden" != "$tree" ]; do
    below=${tree#"${hidden%/}"/}
    hidden=${hidden%/}/${below%%/*}
  done
  exec {folder}<"$tree"
  mount -t tmpfs -o mode=755 tmpfs "$hidden"
  mkdir -p "$tree"
  mount --no-canonicalize --rbind "/proc/self/fd/$folder" "$tree"
  exec {folder}<&-
  cd "$tree"
fi
# Where that is not possible, the account gets a copy, which is configured and built again, because a
# build folder holds its own path.
if ! reaches "$tree"; then
  mkdir "$home/tree"
  tar -c --exclude=./build --exclude=./.git . | tar -x -C "$home/tree"
  chown -R "$account:$group" "$home"
  cd "$home/tree"
  "${as_user[@]}" cmake --preset dev
  "${as_user[@]}" cmake --build --preset dev
fi
chown -R "$account:$group" build/dev
# The tests of what touches no file (the label is the layer), and those that compile other programs,
# complete words in shells, feed parsers with bytes or only read the tree are the same for every user;
# one playbook stands for the others.
"${as_user[@]}" ctest --preset dev --parallel "$(($(nproc) * 2))" --label-exclude '^(text|strings)$' \
  --exclude-regex '^(fuzz\.|CompletionTest|PackagesTest|AnsibleTest\.[^w]|integration\.(outside|examples|hardening|documents|layers|symbols)$)' "$@"
