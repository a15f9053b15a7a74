#!/usr/bin/env bash
# Installs the build into a folder, and uses there what was installed: the sample is built against it and runs registered.
#   install.sh WINE BUILD COMPILER
set -euo pipefail
wine=$1 build=$2 compiler=$3
export KVWMI_WINE_PREFIX=install
samples=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../../samples/windows" && pwd)
work=$(mktemp -d -p .)
trap '"$wine" --stop; rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/installed" >/dev/null
status=0
expect() {
  [[ $2 == "$3" ]] && return
  status=1
  printf '%s\nexpected:\n%s\nfound:\n%s\n' "$@"
}
expect 'what is installed' 'bin/KVIPAddress.dll
bin/KVWMI.dll
bin/KVWMI.manifest
bin/KVWMI.tlb
bin/kvwmi.exe
bin/kvwmi.h' "$(cd "$work/installed" && find . -type f | sed 's:^\./::' | LC_ALL=C sort)"

# As the sample itself tells.
"$compiler" -municode -static "-I$work/installed/bin" "$samples/checkpoint.cpp" -o "$work/checkpoint.exe" \
  -lole32 -loleaut32 -luuid
"$wine" --start
"$wine" regsvr32 /s "$work/installed/bin/KVWMI.dll" </dev/null
output=$("$wine" "$work/checkpoint.exe" 2>/dev/null </dev/null | tr -d '\r') || status=1
expect 'first line' 'Print Spooler is in state 1 (4 is running)' "$(head -n 1 <<<"$output")"
expect 'last line' 'Done.' "$(tail -n 1 <<<"$output")"
exit "$status"
