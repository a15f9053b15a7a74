summary="which folder may include which, and what portable code must not hold"
order=1
packages=""
kind_build() { :; }
kind_run() {
  local room
  while read -r room; do
    if tools/check_rooms "$room"; then pass "rooms: $room"; else fail "rooms: $room"; fi
  done < <(tools/check_rooms --list)
}
