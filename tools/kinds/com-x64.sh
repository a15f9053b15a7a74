summary="the automation server, 64 bit: late binding, contract, registration, C++ and script clients under Wine"
order=27
packages="run test mingw wine"
kind_build() { build mingw-x64; }
kind_run() {
  tools/wine --start || return 1
  run_ctest mingw-x64 com "$@"
}
