summary="unit tests of the rooms that have threads, under the thread sanitizer"
order=40
packages="run test x11"
kind_build() { build linux-tsan unit_tests; }
kind_run() {
  export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
  run_ctest linux-tsan unit "$@"
}
