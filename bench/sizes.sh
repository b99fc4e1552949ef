#!/bin/sh
# Prints the sizes of the stripped program for every architecture that was built: sizes.sh BUILD_DIRECTORY
# It builds the native program in device mode. "make cross" builds the programs for other architectures.
set -eu
cd "$(dirname "$0")/.."
build=$1

bench/strip.sh "$build/release/bin/tessera" "$build/device" "$build/sizes/$(dpkg --print-architecture)"

kilobytes() {
  echo "$((($(stat -Lc %s "$1") + 500) / 1000))"
}
within() { # SIZE LIMIT
  if [ "$1" -le "$2" ]; then echo met; else echo '**missed**'; fi
}
printf '\n### Size of the stripped program\n\n'
printf '| architecture | reference platform linked in, KB | at most 320 | device mode, KB | at most 160 |\n'
printf '|---|--:|--:|--:|--:|\n'
for directory in "$build"/sizes/*; do
  reference=$(kilobytes "$directory/tessera")
  device=$(kilobytes "$directory/tessera-device")
  echo "| $(basename "$directory") | $reference | $(within "$reference" 320) | $device | $(within "$device" 160) |"
done

printf '\n| beside | KB | |\n|---|--:|---|\n'
for row in netifd=238 wg=97 dnsmasq=484; do
  echo "| ${row%=*} | ${row#*=} | as given for these programs |"
done
generator=/usr/libexec/netplan/generate
library_kilobytes() { # PATTERN: the total size of the libraries of that name that the generator loads
  total=0
  for library in $(ldd "$generator" | sed -n "s/.*=> \([^ ]*\/lib$1[^ ]*\) .*/\1/p"); do
    total=$((total + $(kilobytes "$library")))
  done
  echo $total
}
echo "| netplan generate and its library | $(($(kilobytes "$generator") + $(library_kilobytes netplan))) | measured |"
echo "| glib, gio, gobject, gmodule, which it needs | $(library_kilobytes 'g\(lib\|io\|object\|module\)-2') | measured |"
