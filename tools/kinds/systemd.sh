summary="a systemd of its own, booted in a namespace (needs root)"
order=22
packages="run test systemd"
kind_build() { build linux-release; }
kind_run() { run_ctest linux-release systemd "$@"; }
