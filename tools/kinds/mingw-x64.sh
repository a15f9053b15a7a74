summary="the Windows build, 64 bit: unit tests under Wine"
order=25
packages="run test mingw wine"
kind_build() { build mingw-x64; }
kind_run() {
  tools/wine --start || return 1
  run_ctest mingw-x64 unit "$@"
}
