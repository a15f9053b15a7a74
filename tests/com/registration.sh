#!/usr/bin/env bash
# Registers and unregisters the built library in a prefix of its own and compares what the registry holds.
#   registration.sh WINE LIBRARY       WINE: tools/wine or tools/wine32
set -euo pipefail
wine=$1 library=$2
export KVWMI_WINE_PREFIX=registration
work=$(mktemp -d -p .)
trap '"$wine" --stop; rm -rf "$work"' EXIT
status=0
fail() {
  echo "$*"
  status=1
}
run() {
  local code=0
  "$wine" "$@" </dev/null || code=$?
  ((code == 0)) || fail "$* answered $code"
}
# export_registry NAME - everything that a registration could touch.
export_registry() {
  for root in 'HKEY_LOCAL_MACHINE\Software' 'HKEY_CURRENT_USER\Software'; do
    run regedit /E "$work/one.reg" "$root" >/dev/null
    iconv -f utf-16 -t utf-8 "$work/one.reg" | tr -d '\r'
  done >"$work/$1"
  [[ -s $work/$1 ]] || fail "the registry could not be exported"
}
expect_same() { cmp -s "$work/$1" "$work/$2" || fail "$3:" "$(diff "$work/$1" "$work/$2" | head -n 30)"; }
# expect_value KEY NAME VALUE in the export `registered`
expect_value() {
  awk -v key="[HKEY_LOCAL_MACHINE\\\\Software\\\\Classes\\\\$1]" -v line="$2=\"$3\"" '
    index($0, "[") == 1 { inside = (tolower($0) == tolower(key)) }
    inside && $0 == line { found = 1 }
    END { exit !found }' "$work/registered" || fail "missing: $1 $2=$3"
}
expect_no_key() {
  if grep -qiF "\\Software\\Classes\\$1]" "$work/registered"; then fail "not expected: $1"; fi
}

# A library whose type library cannot be read: its registration fails.
mkdir "$work/broken"
broken=${work#./}\\broken\\${library##*/}
LC_ALL=C sed 's/MSFT/XSFT/g' "$library" >"$work/broken/${library##*/}"
run_failing() {
  if "$wine" "$@" </dev/null; then fail "$* succeeded"; fi
}

"$wine" --start
export_registry before
run_failing regsvr32 /s "$broken"
export_registry after
expect_same before after "a failed registration leaves traces"

run regsvr32 /s "$library"
export_registry registered

check_class() {
  local name=$1 id=$2
  expect_value "KVWMI.$name\\\\CLSID" @ "$id"
  expect_value "KVWMI.$name\\\\CurVer" @ "KVWMI.$name.2"
  expect_value "KVWMI.$name.2\\\\CLSID" @ "$id"
  expect_value "CLSID\\\\$id\\\\InprocServer32" '"ThreadingModel"' Apartment
  expect_value "CLSID\\\\$id\\\\ProgID" @ "KVWMI.$name.2"
  expect_value "CLSID\\\\$id\\\\VersionIndependentProgID" @ "KVWMI.$name"
  expect_value "CLSID\\\\$id\\\\TypeLib" @ '{7C675D32-994D-466D-91F1-E5C976C847E8}'
  expect_value "CLSID\\\\$id\\\\Version" @ 2.0
}
source_folder=$(dirname -- "${BASH_SOURCE[0]}")/../../src
classes=0
while read -r name id; do
  file=$(tr '[:upper:]' '[:lower:]' <<<"$name")
  # The classes that are built are those that have a file.
  if ls "$source_folder"/windows/com/class_*.cpp | sed 's/.*class_//; s/\.cpp$//; s/_//g' | grep -qx "$file"; then
    check_class "$name" "$id"
  else
    expect_no_key "KVWMI.$name"
    expect_no_key "CLSID\\$id"
  fi
  ((++classes))
done < <(sed -n 's/^ *\[uuid(\([^)]*\)), helpstring("[^"]*")\]$/\1/p; s/^ *coclass \([A-Za-z]*\) {$/\1/p' \
  "$source_folder/windows/com/kvwmi.idl" | paste -d' ' - - | awk '{ print $2, "{" $1 "}" }')
((classes == 7)) || fail "7 classes expected, $classes found"
# Clients in other apartments reach every interface through the system's marshaller of type libraries.
interfaces=0
while read -r name id; do
  expect_value "Interface\\\\$id" @ "$name"
  expect_value "Interface\\\\$id\\\\ProxyStubClsid32" @ '{00020424-0000-0000-C000-000000000046}'
  expect_value "Interface\\\\$id\\\\TypeLib" @ '{7C675D32-994D-466D-91F1-E5C976C847E8}'
  expect_value "Interface\\\\$id\\\\TypeLib" '"Version"' 2.0
  ((++interfaces))
done < <(awk '/^ *\[uuid\(.*object, dual/ { id = substr($0, index($0, "uuid(") + 5, 36) }
  /^ *interface _[A-Za-z]* : IDispatch/ { print $2, "{" id "}" }' "$source_folder/windows/com/kvwmi.idl")
((interfaces == 7)) || fail "7 interfaces expected, $interfaces found"
grep -qi 'TypeLib\\{7C675D32-994D-466D-91F1-E5C976C847E8}\\2.0\\0\\win' "$work/registered" || fail "no type library"

# A second registration changes nothing.
run regsvr32 /s "$library"
export_registry again
expect_same registered again "a second registration changes the registry"

run_failing regsvr32 /s "$broken"
export_registry again
expect_same registered again "a failed registration changes the one that was there"

# The 32-bit server shares the ProgIDs with the 64-bit one, and keeps them when that one goes.
if [[ ${wine##*/} == wine ]]; then
  others='HKLM\Software\Classes\CLSID\{CAF8EF81-B660-4DF4-9562-F5AD85779E47}'
  run reg add "$others" /ve /d "the other one's" /f /reg:32 >/dev/null
  run regsvr32 /s /u "$library"
  export_registry registered
  expect_value 'KVWMI.CheckPoint\\CLSID' @ '{CAF8EF81-B660-4DF4-9562-F5AD85779E47}'
  expect_value 'KVWMI.CheckPoint.2\\CLSID' @ '{CAF8EF81-B660-4DF4-9562-F5AD85779E47}'
  expect_no_key 'CLSID\\{CAF8EF81-B660-4DF4-9562-F5AD85779E47}'
  expect_no_key 'KVWMI.Supervision'
  run reg delete "$others" /f /reg:32 >/dev/null
fi

run regsvr32 /s /u "$library"
export_registry after
expect_same before after "unregistering leaves traces"
# Unregistering what is not registered is no failure.
run regsvr32 /s /u "$library"
export_registry after
expect_same before after "a second unregistering leaves traces"
exit "$status"
