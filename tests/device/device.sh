#!/bin/sh
# Builds the reference platform as a device's libraries, links tessera with them and runs it; then tests that wrong
# libraries are refused.
#
#   device.sh SOURCE_DIRECTORY SCRATCH_DIRECTORY BIN_DIRECTORY CASE_DIRECTORY...
set -eu
source=$1
scratch=$2
bin=$3
shift 3
sysroot=$scratch/sysroot

fail() {
  echo "device: $*" >&2
  exit 1
}

configure() {
  directory=$1
  shift
  cmake -S "$source" -B "$scratch/$directory" -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel -DTESSERA_WERROR=ON "$@"
}

build() {
  directory=$1
  shift
  cmake --build "$scratch/$directory" --target "$@"
}

rm -rf "$sysroot" "$sysroot.bad"
configure platform -DTESSERA_REFERENCE_SHARED=ON
build platform all
cmake --install "$scratch/platform" --prefix "$sysroot/usr" >/dev/null
configure device -DTESSERA_PLATFORM=device -DTESSERA_SYSROOT="$sysroot"
build device tessera tessera-conformance
libraries=$(dirname "$(find "$sysroot" -name libconfig.so)")
tessera=$scratch/device/bin/tessera

# The libraries offer only C functions with these prefixes, and tessera does not contain any of them.
operations='^(config|network|runt|_?sl|file|escape|replace_char|_?process|xip4|xasprintf|log)(_[a-z0-9_]*)?$'
for name in config runt tools; do
  readelf -d "$tessera" | grep -q "(NEEDED).*\[lib$name.so\]" || fail "tessera does not need lib$name.so"
  nm -D --defined-only --format=posix "$libraries/lib$name.so" | cut -d' ' -f1 >"$scratch/offered"
  [ -s "$scratch/offered" ] || fail "lib$name.so offers nothing"
  ! grep -vE "$operations" "$scratch/offered" || fail "lib$name.so offers more than operations"
  nm --defined-only --format=posix "$tessera" | cut -d' ' -f1 >"$scratch/defined"
  ! grep -Fxf "$scratch/offered" "$scratch/defined" || fail "tessera holds operations of lib$name.so"
done
readelf -d "$tessera" | grep -E 'RPATH|RUNPATH' && fail "tessera looks for libraries where it was built"

for case in "$@"; do
  LD_LIBRARY_PATH=$libraries "$source/tests/golden/run.sh" --tessera "$tessera" "$bin" "$case"
done
"$source/tests/as_root.sh" env LD_LIBRARY_PATH="$libraries" "$source/tests/install/conformance.sh" \
  "$scratch/device/bin/tessera-conformance" "$source/tools/conformance/config.json"

# refused MESSAGE: configuring with $sysroot.bad has to fail with the message.
refused() {
  configure refused -DTESSERA_PLATFORM=device -DTESSERA_SYSROOT="$sysroot.bad" >"$scratch/refusal" 2>&1 &&
    fail "accepted, although: $1"
  tr -s ' \n' ' ' <"$scratch/refusal" | grep -qF "$1" || { cat "$scratch/refusal"; fail "no message: $1"; }
}
refused "which is not a directory"
cp -R "$sysroot" "$sysroot.bad"
library=$sysroot.bad${libraries#"$sysroot"}/librunt.so
rm "$library"
refused "librunt.so was not found below"
echo 'no library' >"$library"
refused "librunt.so cannot be read as a shared library"
nm -D --defined-only --format=posix "$libraries/librunt.so" | sed -n '/^runt_edit_commit /d; /^runt_keys /d; s/^\([a-z_0-9]*\) .*/void \1(void) {}/p' |
  cc -shared -fPIC -x c -o "$library" -
refused "lacks operations that tessera needs: runt_edit_commit, runt_keys"
