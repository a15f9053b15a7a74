#!/usr/bin/env bash
# Runs scripts with the system's script host.
#   run_scripts.sh WINE SCRIPT...
# A script fails with a line that begins with FAIL, or by not ending with the line DONE: the script host itself tells
# of no error. What Visual Basic scripts share, expect.vbs beside them, is put in front of them.
set -euo pipefail
wine=$1
shift
work=$(mktemp -d -p .)
trap 'rm -rf "$work"' EXIT
status=0
for script; do
  name=${script##*/}
  if [[ $name == *.vbs ]]; then
    cat -- "${script%/*}/expect.vbs" "$script" >"$work/$name"
  else
    cp -- "$script" "$work/$name"
  fi
  # The host takes a path that begins with a slash for a switch.
  "$wine" cscript //nologo "${work#./}\\$name" >"$work/out" 2>&1 </dev/null || true
  output=$(tr -d '\r' <"$work/out")
  if grep -q '^FAIL' <<<"$output" || [[ $(tail -n 1 <<<"$output") != DONE ]]; then
    status=1
    printf '%s:\n%s\n' "$script" "$output"
  fi
done
exit "$status"
