#!/usr/bin/env bash
# Runs every test once more as a user without root's rights, after scripts/test.sh has built them:
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
home=$(mktemp -d)
trap 'chown -R 0:0 "$tree/build/dev"; rm -rf "$home"' EXIT
trap 'exit 1' INT TERM
as_user=(setpriv --reuid "$account" --regid "$group" --clear-groups
  env -u TMPDIR "HOME=$home" "USER=$account" "LOGNAME=$account" "CCACHE_DIR=$home/ccache"
  "ANSIBLE_REMOTE_TMP=$home/ansible")
chown "$account:$group" "$home"
# A tree below a folder of root's alone is copied to where the account can reach it. The copy is
# configured and built again, because a build folder holds its own path.
if ! "${as_user[@]}" test -x "$tree" || ! "${as_user[@]}" test -r "$tree/CMakePresets.json"; then
  mkdir "$home/tree"
  tar -c --exclude=./build --exclude=./.git . | tar -x -C "$home/tree"
  chown -R "$account:$group" "$home"
  cd "$home/tree"
  "${as_user[@]}" cmake --preset dev
  "${as_user[@]}" cmake --build --preset dev
fi
chown -R "$account:$group" build/dev
"${as_user[@]}" ctest --preset dev --parallel "$(nproc)" "$@"
