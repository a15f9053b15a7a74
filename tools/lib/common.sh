# Shared by run, test and the kinds of tests. Sourced with `root` set to the top of the tree.
# shellcheck shell=bash

say() { printf '%s\n' "$*"; }
complain() { printf '%s\n' "$*" >&2; }
die() {
  complain "$*"
  exit 1
}

# The scripts read /proc, and so does what they build.
[[ -e /proc/self/fd ]] || die "/proc is missing here; as root: mount -t proc proc /proc"

# Colours only for people: a terminal, and nobody has asked for none.
if [[ -t 1 && -z ${NO_COLOR:-} && ${TERM:-dumb} != dumb ]]; then
  bold=$'\e[1m' red=$'\e[31m' green=$'\e[32m' yellow=$'\e[33m' reset=$'\e[0m'
else
  bold='' red='' green='' yellow='' reset=''
fi

# The tree may belong to another user than the one who builds it, as in a container.
export GIT_CONFIG_COUNT=1 GIT_CONFIG_KEY_0=safe.directory GIT_CONFIG_VALUE_0=$root

# The compiler's cache lies in its user's home; who has none gets a cache in the tree.
[[ ${CCACHE_DIR:-} || -w ${HOME:-} ]] || export CCACHE_DIR=$root/build/ccache

# packages_for PURPOSE... - the packages that these purposes need.
packages_for() {
  awk -v wanted=" $* " '!/^#/ && NF == 2 && index(wanted, " " $1 " ") && !seen[$2]++ { print $2 }' \
    "$root/tools/packages"
}

# missing_packages PURPOSE... - those that are not installed; nothing on a machine without dpkg.
missing_packages() {
  command -v dpkg-query >/dev/null || return 0
  local wanted
  mapfile -t wanted < <(packages_for "$@")
  ((${#wanted[@]})) || return 0
  # A package that only provides another is no match, so ask by name and see what comes back as installed.
  comm -13 \
    <(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null |
      awk '$1 == "installed" { print $2 }' | sort -u) \
    <(printf '%s\n' "${wanted[@]}" | sort -u)
}

# Whether a command can be run as root. A sudo that wants a password asks for it on the terminal, wherever the command's
# input and output go; so it takes somebody who sits there.
can_be_root() {
  ((EUID == 0)) || { command -v sudo >/dev/null && { sudo -n true || : </dev/tty; } 2>/dev/null; }
}
as_root() { if ((EUID == 0)); then "$@"; else sudo "$@"; fi; }

# install_packages PURPOSE... - installs what is missing. Fails with the list in `missing` where it cannot.
install_packages() {
  local log=$root/build/logs/packages.log
  mapfile -t missing < <(missing_packages "$@")
  ((${#missing[@]})) || return 0
  can_be_root || return 1
  mkdir -p "$root/build/logs"
  say "Installing ${#missing[@]} Debian packages: ${missing[*]}"
  local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o Acquire::Retries=3 -o DPkg::Lock::Timeout=300)
  if as_root "${apt[@]}" update >"$log" 2>&1 </dev/null &&
    as_root "${apt[@]}" install --no-install-recommends "${missing[@]}" >>"$log" 2>&1 </dev/null; then
    missing=()
    return 0
  fi
  mapfile -t missing < <(missing_packages "$@")
  ((${#missing[@]})) || return 0
  [[ -s $log ]] && tail -n 5 "$log" >&2
  return 1
}

cores() { nproc; }

# configure PRESET TESTS - with tests (ON) or, where their packages may be missing, without (OFF). Only where it has not
# been done with them already; the build tool repeats it when a CMake file changes.
configure() {
  one_at_a_time "$1" bash -c '
    [[ -f $2/build.ninja ]] && grep -qx KVWMI_TESTS:BOOL=ON "$2/CMakeCache.txt" && exit
    cd "$1" && cmake --preset "$3" -D KVWMI_TESTS="$4"' - "$root" "$root/build/$1" "$@"
}

# build PRESET [TARGET...]
build() {
  local preset=$1
  shift
  configure "$preset" ON && compile "$preset" "$@"
}
# compile PRESET [TARGET...] - what has been configured
compile() { one_at_a_time "$1" cmake --build "$root/build/$1" -j "$(cores)" ${2:+--target "${@:2}"}; }

# one_at_a_time PRESET COMMAND... - after those that already write to the preset's build tree: ./run may be called on
# two terminals, and beside ./test.
one_at_a_time() {
  mkdir -p "$root/build"
  flock "$root/build/.$1.lock" "${@:2}"
}

# sources_newer STAMP - whether anything that a build depends on changed since; folders count, so that files which came
# or went are seen.
sources_newer() {
  [[ ! -e $1 ]] || [[ -n $(find "$root/include" "$root/src" "$root/cmake" "$root/CMakeLists.txt" \
    "$root/CMakePresets.json" -newer "$1" -print -quit 2>/dev/null) ]]
}

# The C++ files of the tree, relative to its top; those not yet added too.
sources() {
  (cd "$root" && git ls-files --cached --others --exclude-standard -- '*.h' '*.cpp' | while IFS= read -r file; do
    [[ -f $file ]] && printf '%s\n' "$file"
  done)
}
