summary="the automation server, 32 bit: the same where ./test --wine32 made a 32-bit Wine"
order=31
packages="test mingw"
kind_build() { build mingw-x86; }
kind_run() {
  pass "com-x86 builds"
  if ! tools/wine32 --ready; then
    skip "com-x86 clients" "no 32-bit Wine here; ./test --wine32 makes one"
    return
  fi
  tools/wine32 --start || return 1
  run_ctest mingw-x86 com "$@"
  tools/wine32 --stop
}
