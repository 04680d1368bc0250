#!/bin/sh
# usage: icu_on_demand_test.sh SOURCE_FOLDER LIBRARY_FOLDER WORK_FOLDER COMPILER
# A program with icu_on_demand.cpp needs no ICU to start and gets ICU's answers; the list in that file
# names every function of ICU that the libraries call. They call no class of ICU.
set -eu
source=$1/tools/icu_on_demand/icu_on_demand.cpp
libraries=$2 work=$3 compiler=$4
rm -rf "$work"
mkdir -p "$work"
cat >"$work/main.cpp" <<'END'
#include <unicode/ucnv.h>
#include <unicode/ucol.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <cstdio>

int main(int count, char**) {
  UErrorCode status = U_ZERO_ERROR;
  if (count == 1) return 0;  // ICU is never called
  char16_t upper[16] = {}, composed[16] = {};
  if (u_strToUpper(upper, 16, u"stra\u00dfe", -1, "", &status) != 7) return 1;
  if (upper[4] != u'S' || upper[5] != u'S') return 2;
  const UNormalizer2* const form = unorm2_getNFCInstance(&status);
  if (unorm2_normalize(form, u"u\u0308", -1, composed, 16, &status) != 1) return 3;
  if (composed[0] != 0xFC) return 4;
  UCollator* const order = ucol_open("sv", &status);
  if (ucol_strcoll(order, u"z", 1, u"\u00e4", 1) != UCOL_LESS) return 5;
  ucol_close(order);
  UConverter* const page = ucnv_open("windows-1252", &status);
  ucnv_setFromUCallBack(page, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  char bytes[4];
  char* out = bytes;
  const char16_t* in = u"\u20ac\u4e00";
  ucnv_fromUnicode(page, &out, bytes + 4, &in, in + 2, nullptr, true, &status);
  if (out != bytes + 1 || bytes[0] != '\x80' || status != U_INVALID_CHAR_FOUND) return 6;
  ucnv_close(page);
  return 0;
}
END
"$compiler" -std=c++20 -O1 -fPIE -c "$source" -o "$work/on_demand.o"
"$compiler" -std=c++20 -O1 -pie -fPIE -Wl,--as-needed "$work/main.cpp" "$work/on_demand.o" \
  -licuuc -licui18n -ldl -o "$work/program"
if readelf -d "$work/program" | grep -q 'NEEDED.*icu'; then
  echo "the program needs ICU to start"
  exit 1
fi
"$work/program" call
if LD_DEBUG=files "$work/program" 2>&1 | grep -q libicu; then
  echo "ICU is loaded although it is not called"
  exit 1
fi
nm "$work/on_demand.o" | sed -n 's/.* T //p' | sort >"$work/defined"
nm -u "$libraries"/liborvik_*.a >"$work/undefined" 2>/dev/null
if grep 6icu_ "$work/undefined"; then
  echo "These are classes of ICU, which cannot be loaded on demand. Use its C interface."
  exit 1
fi
<"$work/undefined" sed -n 's/^ *U \([A-Za-z0-9_]*_[0-9][0-9]\)$/\1/p' | grep -E '^(u|UCNV)' | sort -u >"$work/called"
[ -s "$work/called" ]
if [ -n "$(comm -13 "$work/defined" "$work/called")" ]; then
  echo "tools/icu_on_demand/icu_on_demand.cpp lacks:"
  comm -13 "$work/defined" "$work/called"
  exit 1
fi
