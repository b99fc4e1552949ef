#!/bin/sh
# Builds tessera in device mode, and writes the stripped programs to OUTPUT: TESSERA as `tessera`, the one in device mode
# as `tessera-device`.
#
#   strip.sh TESSERA SCRATCH_DIRECTORY OUTPUT [CMAKE_ARGUMENT...]
#
# The reference platform, built as shared libraries, replaces the libraries of a device. STRIP names another strip program.
set -eu
source=$(cd "$(dirname "$0")/.." && pwd)
program=$1
scratch=$2
output=$3
shift 3

build() { # NAME TARGET CMAKE_ARGUMENT...
  directory=$scratch/$1
  target=$2
  shift 2
  { cmake -S "$source" -B "$directory" -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel "$@" &&
    cmake --build "$directory" --target "$target"; } >"$directory.log" 2>&1 || { cat "$directory.log" >&2; exit 1; }
}
mkdir -p "$scratch" "$output"
scratch=$(cd "$scratch" && pwd)
build platform all -DTESSERA_REFERENCE_SHARED=ON "$@"
cmake --install "$scratch/platform" --prefix "$scratch/sysroot/usr" >/dev/null
build tessera tessera -DTESSERA_PLATFORM=device -DTESSERA_SYSROOT="$scratch/sysroot" "$@"
"${STRIP:-strip}" -o "$output/tessera" "$program"
"${STRIP:-strip}" -o "$output/tessera-device" "$scratch/tessera/bin/tessera"
