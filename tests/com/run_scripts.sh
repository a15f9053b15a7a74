#!/usr/bin/env bash
# Registers built libraries in a prefix of its own and runs scripts with the system's script host.
#   run_scripts.sh WINE PREFIX LIBRARY... -- SCRIPT...
# A script fails with a line that begins with FAIL, or by not ending with the line DONE: the script host itself tells
# of no error.
set -euo pipefail
wine=$1
export KVWMI_WINE_PREFIX=$2
shift 2
work=$(mktemp -d -p .)
trap '"$wine" --stop; rm -rf "$work"' EXIT
"$wine" --start
while [[ $1 != -- ]]; do
  "$wine" regsvr32 /s "$1" </dev/null || {
    echo "regsvr32 $1 answered $?"
    exit 1
  }
  shift
done
shift
status=0
for script; do
  name=${script##*/}
  cp -- "$script" "$work/$name"
  # The host takes a path that begins with a slash for a switch.
  "$wine" cscript //nologo "${work#./}\\$name" >"$work/out" 2>&1 </dev/null || true
  output=$(tr -d '\r' <"$work/out")
  if grep -q '^FAIL' <<<"$output" || [[ $(tail -n 1 <<<"$output") != DONE ]]; then
    status=1
    printf '%s:\n%s\n' "$script" "$output"
  fi
done
exit "$status"
