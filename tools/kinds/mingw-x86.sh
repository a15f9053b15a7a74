summary="the Windows build, 32 bit: its libraries build; all of it and unit tests where ./test --wine32 made a 32-bit Wine"
order=26
packages="run test mingw"
kind_build() {
  if tools/wine32 --ready; then build mingw-x86; else build mingw-x86 KVWMI KVIPAddress; fi
}
kind_run() {
  pass "mingw-x86 builds"
  if ! tools/wine32 --ready; then
    skip "mingw-x86 unit tests" "no 32-bit Wine here; ./test --wine32 makes one"
    return
  fi
  tools/wine32 --start || return 1
  run_ctest mingw-x86 unit "$@"
  tools/wine32 --stop
}
