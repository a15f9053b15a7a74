#!/usr/bin/env bash
# Runs a program whose own manifest names KVWMI as a user of it ships it: in a folder with KVWMI.dll and nothing else.
#   side_by_side.sh WINE LIBRARY PROGRAM [ARGUMENT...]
set -euo pipefail
wine=$1 library=$2 program=$3
shift 3
work=$(mktemp -d -p .)
trap 'rm -rf "$work"' EXIT
cp -- "$library" "$program" "$work"
"$wine" "$work/${program##*/}" "$@" </dev/null
