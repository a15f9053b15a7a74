#!/usr/bin/env bash
# Installs the build into a folder, moves it, and builds and runs a program on what was installed.
#   install_test.sh BUILD COMPILER
set -euo pipefail
build=$1 compiler=$2
samples=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../../samples/linux" && pwd)
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
expect() { [[ $1 == "$2" ]] || { printf 'expected: %s\nbut was:  %s\n' "$2" "$1"; exit 1; }; }

cmake --install "$build" --prefix "$work/first" >"$work/log"
mv "$work/first" "$work/moved"

library=$(dirname "$(find "$work/moved" -name 'libkvwmi.so')")
for file in "$library/libkvwmi.so.2" "$library/libKVIPAddress.so" "$work/moved/bin/kvwmi" \
  "$work/moved/include/kvwmi/checkpoint.h" "$library/pkgconfig/kvwmi.pc" \
  "$work/moved/share/doc/kvwmi/first_look.json"; do
  [[ -e $file ]] || { echo "not installed: $file"; exit 1; }
done

export PKG_CONFIG_PATH=$library/pkgconfig
read -ra flags <<<"$(pkg-config --cflags --libs kvwmi)"
"$compiler" -std=c++20 -Wall -Wextra -Werror -o "$work/watch" "$samples/watch.cpp" "${flags[@]}" "-Wl,-rpath,$library"

# The sample sees a process of its own start and end, each when the one before has been told.
visitor=visitor-$$
cp "$(command -v sleep)" "$work/$visitor"
said() { timeout 30 bash -c "until grep -q '$1' '$work/said'; do sleep 0.05; done" || { cat "$work/said"; exit 1; }; }
"$work/watch" "$visitor" >"$work/said" 2>&1 &
sample=$!
said Watching
"$work/$visitor" 60 &
said started
kill %2
said ended
wait "$sample"
expect "$(<"$work/said")" "Watching $visitor
$visitor has started
$visitor has ended"

# Every header stands by itself.
for header in "$work/moved"/include/kvwmi/*.h; do
  echo "#include <kvwmi/${header##*/}>" |
    "$compiler" -std=c++20 -Wall -Wextra -Werror -fsyntax-only -x c++ "-I$work/moved/include" -
done

cd /
"$work/moved/bin/kvwmi" --version >/dev/null
echo "installed, moved and used"
