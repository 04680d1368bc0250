#!/usr/bin/env bash
# Installs what is missing and makes the reference of the public headers in build/docs; any warning
# fails.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/dependencies.sh
install_dependencies docs
mkdir -p build/docs
# As programs include them: <orvik/FOLDER/NAME.h>.
rm -rf build/docs_input
for header in $(cmake -P cmake/public_headers.cmake); do
  mkdir -p "build/docs_input/orvik/$(dirname "$header")"
  sed 's,^#include ",#include "orvik/,' "$header" >"build/docs_input/orvik/$header"
done
doxygen docs/Doxyfile
if ! grep -q '#include &lt;.*>orvik/prefs/typed_preferences.h<' \
  build/docs/classorvik_1_1TypedPreferences.html; then
  echo "the reference does not include headers as programs do" >&2
  exit 1
fi
echo "Reference: build/docs/index.html"
