#!/usr/bin/env bash
# Registers the stand-in's library in a prefix of its own and lets a script use it.
#   scripts.sh WINE LIBRARY SCRIPT
set -euo pipefail
wine=$1 library=$2 script=$3
export KVWMI_WINE_PREFIX=stand_in
work=$(mktemp -d -p .)
trap '"$wine" --stop; rm -rf "$work"' EXIT
"$wine" --start
"$wine" regsvr32 /s "$library" </dev/null
cp "$script" "$work/script.vbs"
# Wine's script host tells neither syntax errors nor uncaught failures: only a complete run says so at its end.
"$wine" cscript //nologo "$work/script.vbs" </dev/null | tr -d '\r' | tee "$work/output"
[[ $(tail -n 1 "$work/output") == "DONE 0" ]] || { echo "the script did not run to its end without a failure"; exit 1; }
"$wine" regsvr32 /s /u "$library" </dev/null
# The machine's own classes come back.
"$wine" regsvr32 /s 'C:\windows\system32\wbem\wbemdisp.dll' </dev/null
