summary="the fuzz targets' corpora, replayed under the address sanitizer"
order=35
packages="run test clang"
kind_build() { build linux-asan fuzz_tests; }
kind_run() { run_ctest linux-asan fuzz "$@"; }
