summary="clang-format on every source file"
order=2
packages="format"
kind_build() { :; }
kind_run() {
  local files file
  mapfile -t files < <(sources)
  # One call for all is many times faster than one for each.
  printf '%s\n' "${files[@]}" | xargs -P "$(cores)" -n 40 clang-format-14 --dry-run -Werror 2>"$out/found"
  cat "$out/found"
  for file in "${files[@]}"; do
    if grep -qF "$file:" "$out/found"; then fail "format: $file"; else pass "format: $file"; fi
  done
}
