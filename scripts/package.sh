#!/usr/bin/env bash
# Installs what is missing, builds everything optimised and hardened, makes the Debian packages in
# build/packages and checks them, with lintian, too. Two runs on one version of the sources make the
# same bytes. Arguments go to cmake.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies build package
SOURCE_DATE_EPOCH=$(dpkg-parsechangelog -l packaging/changelog -S Timestamp)
export SOURCE_DATE_EPOCH
cmake --preset package "$@"
cmake --build --preset package
rm -rf build/packages
cpack --config build/package/CPackConfig.cmake
scripts/check_hardening.py build/packages/*.deb
lintian --fail-on error,warning build/packages/*.deb

echo
echo "== Packages"
for package in build/packages/*.deb; do
  echo "$package"
done
echo
echo "To install the tool and the command line, as root:"
echo "  apt install ./build/packages/orvik-postflight_*.deb ./build/packages/orvikprefs_*.deb"
echo "To build programs on the library, everything:"
echo "  apt install ./build/packages/*.deb"
