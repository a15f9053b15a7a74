#!/usr/bin/env bash
# Runs a command beside a fresh prefix in which built libraries are registered.
#   with_registered.sh WINE PREFIX LIBRARY... -- COMMAND...
set -euo pipefail
wine=$1
export KVWMI_WINE_PREFIX=$2
shift 2
trap '"$wine" --stop' EXIT
"$wine" --start
while [[ $1 != -- ]]; do
  "$wine" regsvr32 /s "$1" </dev/null || {
    echo "regsvr32 $1 answered $?"
    exit 1
  }
  shift
done
shift
"$@" </dev/null
