summary="clang-tidy on what changed lately; ./test tidy FILE... or ./test tidy all for more"
order=80
on_request=yes
packages="run test clang tidy"
kind_build() { build linux-release; }

# Changed against the branch that this one goes to; on that branch itself, in its last commits.
changed() {
  local base
  base=$(git merge-base HEAD '@{upstream}' 2>/dev/null || git merge-base HEAD main 2>/dev/null || true)
  if [[ -z $base || $base == "$(git rev-parse HEAD)" ]]; then
    base=$(git rev-list --max-count=6 HEAD 2>/dev/null | tail -n 1)
  fi
  { git diff --name-only --diff-filter=d "$base" && git ls-files --others --exclude-standard; } | grep '\.cpp$' | sort -u
}

kind_run() {
  local files=() compiled
  compiled=$(sed -n 's/^ *"file": "\(.*\)".*/\1/p' build/linux-release/compile_commands.json | sort -u)
  case ${1:-} in
    '') mapfile -t files < <(changed) ;;
    all) mapfile -t files < <(sources | grep '\.cpp$') ;;
    *) files=("$@") ;;
  esac
  # Only what this machine compiles; a change to nothing but headers or scripts has nothing to check here.
  mapfile -t files < <(printf "$root/%s\n" "${files[@]#"$root/"}" | grep -xF -f <(printf '%s\n' "$compiled"))
  if ((!${#files[@]})); then
    skip tidy "no source file changed"
    return
  fi
  # g++'s precompiled headers are none for clang.
  sed -E 's/ -Winvalid-pch| -include [^ ]*cmake_pch\.hxx//g' build/linux-release/compile_commands.json \
    >"$out/compile_commands.json"
  # Each file by itself, so that its outcome is its own.
  export out root
  printf '%s\n' "${files[@]}" | xargs -P "$(cores)" -I{} bash -c '
    file=$1
    if clang-tidy-14 --quiet -p "$out" "$file"; then state=pass; else state=fail; fi
    printf "%s tidy: %s\n" "$state" "${file#"$root/"}" >>"$out/outcomes"' - {}
}
