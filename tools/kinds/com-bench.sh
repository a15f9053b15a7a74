summary="the automation server, 64 bit: what a probe costs against the same WMI query made directly"
order=71
on_request=yes
packages="run test mingw wine"
alone=yes
kind_build() { build mingw-x64; }
kind_run() {
  tools/wine --start || return 1
  run_ctest mingw-x64 com-bench "$@"
}
