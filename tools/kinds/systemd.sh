summary="a systemd of its own, booted in a namespace (needs root)"
order=60
packages="run test systemd"
alone=yes
kind_build() { build linux-release; }
kind_run() { run_ctest linux-release systemd "$@"; }
