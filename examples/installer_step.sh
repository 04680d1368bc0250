#!/bin/sh
# The last step of an installer: records the installation and handles what can go wrong.
#
#   installer_step.sh PACKAGE DESTINATION [VOLUME]
#
# Ends with 0 when everything is recorded on disk.
set -eu
package=$1
destination=$2
volume=${3:-/}
domain=com.orviktech.Registry
software="Software/ORVIK Technologies/Pagewell Software"

# orvikprefs get ends with 2 if there is no such value, and with 5 if the file is damaged.
status=0
logging=$(orvikprefs get "$software" UELogging 2>/dev/null) || status=$?
case $status in
  0) ;;
  2) logging=0 ;;
  5)
    # Keeps the damaged file beside the repaired one, also when nothing of it can be saved.
    echo "The store is damaged; it is repaired first." >&2
    orvikprefs repair --replace >&2
    logging=$(orvikprefs get "$software" UELogging 2>/dev/null) || logging=0
    ;;
  *)
    echo "The store cannot be read (orvikprefs ended with $status)." >&2
    exit 1
    ;;
esac

# Without ORVIK_STRICT the tool always ends with 1. With it 0 means: read back from disk and right.
if ! ORVIK_STRICT=1 ORVIK_LOG_STDERR=1 postflight \
  -pathToPkg "$package" \
  -pathToDest "$destination" \
  -mountPointOfDest "$volume" \
  -rootOfCurrSystemFolder / \
  -customerLogging "$logging" 2>"${TMPDIR:-/tmp}/postflight.$$"; then
  echo "The installation is not recorded in $domain:" >&2
  grep -E '^(Not recorded|.*missing)' "${TMPDIR:-/tmp}/postflight.$$" >&2 ||
    cat "${TMPDIR:-/tmp}/postflight.$$" >&2
  rm -f "${TMPDIR:-/tmp}/postflight.$$"
  orvikprefs where >&2
  orvikprefs lock >&2 || true
  exit 1
fi
rm -f "${TMPDIR:-/tmp}/postflight.$$"
echo "Recorded: $(orvikprefs get "$software/Install Information" PagewellExePath)"
