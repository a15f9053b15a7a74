summary="clang-format on every source file"
order=2
packages="format"
kind_build() { :; }
kind_run() {
  local file
  while IFS= read -r file; do
    if clang-format-14 --dry-run -Werror "$file"; then pass "format: $file"; else fail "format: $file"; fi
  done < <(sources)
}
