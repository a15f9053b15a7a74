summary="this machine: processes, memory, disks, windows, the kvwmi command"
order=21
packages="run test x11 live"
kind_build() { build linux-release; }
kind_run() { run_ctest linux-release live "$@"; }
