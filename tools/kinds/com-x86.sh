summary="the automation server, 32 bit: its contract; its clients too where ./test --wine32 made a 32-bit Wine"
order=28
packages="run test mingw wine"
kind_build() {
  if tools/wine32 --ready; then build mingw-x86; else build mingw-x86 KVWMI KVIPAddress && build mingw-x64 com_contract_test; fi
}
kind_run() {
  if tools/wine32 --ready; then
    tools/wine32 --start || return 1
    run_ctest mingw-x86 com "$@"
    tools/wine32 --stop
    return
  fi
  # What is told about the libraries from outside needs no 32-bit Wine.
  run_ctest mingw-x86 com com_library_shape com_companion_shape
  tools/wine --start || return 1
  if KVWMI_TESTED_LIBRARY=build/mingw-x86/KVWMI.dll tools/wine build/mingw-x64/com_contract_test.exe; then
    pass "com_contract_test, by the 64-bit program"
  else
    fail "com_contract_test, by the 64-bit program"
  fi
  skip "com-x86 clients" "no 32-bit Wine here; ./test --wine32 makes one"
}
