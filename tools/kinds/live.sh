summary="this machine: processes, memory, disks, windows, the kvwmi command"
order=50
packages="run test live"
alone=yes
kind_build() { build linux-release; }
kind_run() { run_ctest linux-release live "$@"; }
