#!/usr/bin/env bash
# What the built library shows to the system: exactly four undecorated exports, imports of system libraries only.
#   check_library.sh OBJDUMP LIBRARY
set -euo pipefail
tables=$("$1" -p "$2")
status=0
# expect WHAT EXPECTED ACTUAL
expect() {
  [[ $2 == "$3" ]] && return
  printf '%s\nexpected:\n%s\nfound:\n%s\n' "$1" "$2" "$3"
  status=1
}

expect exports 'DllCanUnloadNow
DllGetClassObject
DllRegisterServer
DllUnregisterServer' "$(sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^[[:space:]]*\[ *[0-9]*\] //p' <<<"$tables" | sort)"

system='advapi32|kernel32|msvcrt|ole32|oleaut32|shlwapi|user32|setupapi'
imports=$(sed -n 's/^[[:space:]]*DLL Name: //p' <<<"$tables" | tr '[:upper:]' '[:lower:]' | sort)
[[ $imports ]] || expect imports 'some system libraries' ''
expect 'imports beyond the system' '' "$(grep -vE "^($system)\.dll\$" <<<"$imports" || true)"

# Position independent, data not executable.
for feature in DYNAMIC_BASE NX_COMPAT; do
  grep -q "$feature" <<<"$tables" || expect "DLL characteristics" "$feature" "none"
done
exit "$status"
