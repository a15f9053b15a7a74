#!/usr/bin/env bash
# What a built library shows to the system: exactly these exports, undecorated, and imports of system libraries only.
#   check_library.sh OBJDUMP LIBRARY EXPORT...
set -euo pipefail
tables=$("$1" -p "$2")
status=0
# expect WHAT EXPECTED ACTUAL
expect() {
  [[ $2 == "$3" ]] && return
  printf '%s\nexpected:\n%s\nfound:\n%s\n' "$1" "$2" "$3"
  status=1
}

expect exports "$(printf '%s\n' "${@:3}" | sort)" "$(sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^[[:space:]]*\[ *[0-9]*\] //p' <<<"$tables" | sort)"

system='advapi32|kernel32|msvcrt|ole32|oleaut32|shlwapi|user32|setupapi|iphlpapi'
imports=$(sed -n 's/^[[:space:]]*DLL Name: //p' <<<"$tables" | tr '[:upper:]' '[:lower:]' | sort)
[[ $imports ]] || expect imports 'some system libraries' ''
expect 'imports beyond the system' '' "$(grep -vE "^($system)\.dll\$" <<<"$imports" || true)"

# Position independent, data not executable.
for feature in DYNAMIC_BASE NX_COMPAT; do
  grep -q "$feature" <<<"$tables" || expect "DLL characteristics" "$feature" "none"
done

# 32 bit: no function is described to the unwinder as empty, for that hides the one behind it (cmake/Compiler.cmake).
# The section's name is cut off in the library, and only in an ELF file can it be given back.
if grep -q 'file format pei-i386' <<<"$tables"; then
  copy=$(mktemp)
  trap 'rm -f "$copy"' EXIT
  "${1%objdump}objcopy" -O elf32-i386 --rename-section .eh_fram=.eh_frame "$2" "$copy"
  described=$("$1" --dwarf=frames "$copy" | sed -n 's/.* FDE .* pc=//p')
  [[ $described ]] || expect 'functions that the unwinder knows' 'some' ''
  expect 'functions described as empty' '' "$(awk -F '[.][.]' '$1 == $2' <<<"$described")"
fi
exit "$status"
