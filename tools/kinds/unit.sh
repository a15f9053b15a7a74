summary="unit tests of every room, optimised build"
order=20
packages="run test x11"
kind_build() { build linux-release unit_tests; }
kind_run() { run_ctest linux-release unit "$@"; }
