#!/usr/bin/env bash
# Registers the built library in a prefix of its own and runs the samples as a user would, from a copy.
#   samples.sh WINE LIBRARY CPP_SAMPLE      CPP_SAMPLE: the built checkpoint.exe
set -euo pipefail
wine=$1 library=$2 program=$3
samples=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../../samples/windows" && pwd)
export KVWMI_WINE_PREFIX=samples
work=$(mktemp -d -p .)
trap '"$wine" --stop; rm -rf "$work"' EXIT
"$wine" --start
cp -- "$samples"/*.vbs "$samples"/*.js "$program" "$work"
status=0
# run_sample COMMAND... - its output in `output`
run_sample() {
  "$wine" "$@" >"$work/out" 2>/dev/null </dev/null || true
  output=$(tr -d '\r' <"$work/out")
}
# expect NAME EXPECTED - with the figures of the machine replaced by a mark
expect() {
  local found
  found=$(sed -E 's/^(Physical memory: )[1-9][0-9]*( kilobytes)$/\1N\2/' <<<"$output")
  [[ $found == "$2" ]] && return
  status=1
  printf '%s\nexpected:\n%s\nfound:\n%s\n' "$1" "$2" "$found"
}
folder=${work#./}
exe=${program##*/}

run_sample "$folder\\$exe"
expect "$exe, not registered" 'Error 0x80040154'

"$wine" regsvr32 /s "$library" </dev/null
answers='Print Spooler is in state 1 (4 is running)
explorer.exe runs
Physical memory: N kilobytes'
texts=$'Invalid query \nSWbemServicesEx\n\tKVWMI : CheckPoint.m_GetServiceState\nDone.'
run_sample cscript //nologo "$folder\\checkpoint.vbs"
expect checkpoint.vbs "$answers"$'\nError -2147220975: '"$texts"
run_sample "$folder\\$exe"
expect "$exe" "$answers"$'\nError 0x80040211: '"$texts"
run_sample cscript //nologo "$folder\\checkpoint.js"
expect checkpoint.js 'There is a service Print Spooler
explorer.exe runs
Error -2147220975: Invalid query 
Done.'

answers='There is no service Nothing
no_such_program.exe does not run
Physical memory: N kilobytes'
run_sample cscript //nologo "$folder\\checkpoint.vbs" Nothing no_such_program.exe
expect checkpoint.vbs "$answers"$'\nError -2147220975: '"$texts"
run_sample "$folder\\$exe" Nothing no_such_program.exe
expect "$exe" "$answers"$'\nError 0x80040211: '"$texts"
run_sample cscript //nologo "$folder\\checkpoint.js" Nothing no_such_program.exe
expect checkpoint.js 'There is no service Nothing
no_such_program.exe does not run
Error -2147220975: Invalid query 
Done.'
# A line with a character that is none of ASCII or Latin-1 is printed whole, in whatever code page there is.
run_sample "$folder\\$exe" $'Kosten \xe2\x82\xac!' no_such_program.exe
[[ $(head -n 1 <<<"$output" | LC_ALL=C sed -E 's/(Kosten ).+!/\1C!/') == 'There is no service Kosten C!' ]] ||
  expect "$exe, a name beyond Latin-1" 'There is no service Kosten ...!'
exit "$status"
