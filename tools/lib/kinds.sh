# What a kind of tests (tools/kinds/NAME.sh) is made of. Sourced by ./test after common.sh.
# shellcheck shell=bash
#
# A kind's file sets
#   summary    one line for ./test --help
#   order      its place in the run
#   packages   purposes in tools/packages that it needs; without them it is skipped
#   on_request yes for what measures or advises and tells no right from wrong: it runs only when it is named
#   alone      yes where load of other builds would spoil its figures: it starts when all of them are done
# and defines
#   kind_build          builds what it runs; everything printed goes to the kind's log
#   kind_run [FILTER]   runs it and records each outcome with pass, fail and skip, or lets run_ctest do so
# `kind` is its name and `out` a folder of its own under build/test.

pass() { printf 'pass %s\n' "$*" >>"$out/outcomes"; }
fail() { printf 'fail %s\n' "$*" >>"$out/outcomes"; }
# skip NAME REASON
skip() { printf 'skip %s: %s\n' "$1" "${*:2}" >>"$out/outcomes"; }

# run_ctest PRESET LABELS [FILTER...] - the programs that bear one of LABELS (a regular expression). A FILTER with a point
# or an asterisk selects tests inside the programs as GoogleTest's own filter does, any other one selects programs.
run_ctest() {
  local preset=$1 labels=$2 filter names=() cases=() selected name
  local tree=$root/build/$preset
  shift 2
  for filter; do
    if [[ $filter == *[.*]* ]]; then cases+=("$filter"); else names+=("$filter"); fi
  done
  local ctest=(ctest --test-dir "$tree" -L "^($labels)\$")
  ((${#names[@]})) && ctest+=(-R "$(IFS='|' && echo "${names[*]}")")
  mapfile -t selected < <("${ctest[@]}" -N | sed -n 's/^ *Test *#[0-9]*: //p')
  mkdir -p "$tree/results"
  for name in "${selected[@]}"; do rm -f "$tree/results/$name.xml"; done

  ((${#cases[@]})) && export GTEST_FILTER && GTEST_FILTER=$(IFS=: && echo "${cases[*]}")
  "${ctest[@]}" -j "$(cores)" --output-on-failure --output-junit "$out/ctest.xml"

  [[ -e $out/ctest.xml ]] || return 1
  awk -v kind=ctest -f "$root/tools/lib/outcomes.awk" "$out/ctest.xml" |
    while read -r state name; do
      local report=$tree/results/${name%%:*}.xml
      if [[ $state != skip && -s $report ]]; then
        awk -v kind=gtest -f "$root/tools/lib/outcomes.awk" "$report" >"$out/one"
        cat "$out/one" >>"$out/outcomes"
        # All tests well and the program not: a leak, a race, a crash at the exit.
        if [[ $state == fail ]] && ! grep -q '^fail' "$out/one"; then fail "$name (the program itself)"; fi
      else
        printf '%s %s\n' "$state" "$name" >>"$out/outcomes"
      fi
    done
}

# count STATE FILE
count() { grep -c "^$1 " "$2" 2>/dev/null || true; }
