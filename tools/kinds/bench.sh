summary="the benchmarks, each of which checks its own results; two minutes"
order=70
on_request=yes
packages="run test"
alone=yes
kind_build() { build linux-release bench_tests; }
kind_run() { run_ctest linux-release bench "$@"; }
