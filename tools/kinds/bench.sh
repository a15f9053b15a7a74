summary="the benchmarks' own checks, in a short run"
order=70
on_request=yes
packages="run test"
alone=yes
kind_build() { build linux-release bench_tests; }
kind_run() { run_ctest linux-release bench "$@"; }
