summary="unit tests under the address and undefined-behaviour sanitizers (clang)"
order=30
packages="run test x11 clang"
kind_build() { build linux-asan unit_tests; }
kind_run() {
  export ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1 UBSAN_OPTIONS=print_stacktrace=1
  run_ctest linux-asan unit "$@"
}
