#!/bin/sh
# usage: unicode_library_test.sh PROGRAM_FOLDER LIBRARY_FOLDER
# The libraries call ICU through text/unicode_library.h alone, so the programs start without ICU.
set -eu
if nm -Au "$2"/liborvik_*.a 2>/dev/null | grep -v ':linked_icu.cpp.o:' |
  grep -E ' U (u|UCNV)[A-Za-z0-9_]*_[0-9][0-9]$| U .*6icu_'; then
  echo "These functions of ICU are called directly. Call them through text/unicode_library.h."
  exit 1
fi
for program in orvikprefs postflight; do
  if readelf -d "$1/$program" | grep 'NEEDED.*icu'; then
    echo "$program needs ICU to start."
    exit 1
  fi
done
LD_DEBUG=files "$1/orvikprefs" --version 2>&1 | if grep -q libicu; then
  echo "orvikprefs --version loads ICU."
  exit 1
fi
