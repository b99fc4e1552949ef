#!/bin/sh
# Builds and tests the program for other architectures, each in build/cross/ARCHITECTURE: cross.sh ARCHITECTURE...
#
# The libraries come from Debian's packages for the architecture, which are downloaded with separate package lists and
# unpacked below the build directory: nothing is installed, and the machine's list of architectures stays as it is.
set -eu
cd "$(dirname "$0")/.."
packages='libssl3 libssl-dev libgtest-dev rapidjson-dev'

# quiet LOG COMMAND...: runs a command, and shows its output only when it fails.
quiet() {
  log=$1
  shift
  "$@" >"$log" 2>&1 || { cat "$log" >&2; echo "cross: failed: $*" >&2; exit 1; }
}

# apt TOOL ARGUMENT...: runs apt-TOOL for $architecture, with its lists and settings below $lists.
apt() {
  tool=$1
  shift
  "apt-$tool" -qq -o APT::Architecture="$architecture" -o APT::Architectures="$architecture" -o Dir::State="$lists" \
    -o Dir::State::status="$lists/status" -o Dir::Cache="$lists/cache" -o Dir::Etc::SourceList="$lists/sources.list" \
    -o Dir::Etc::SourceParts=/dev/null -o APT::Sandbox::User="$(id -un)" "$@"
}

unpack_libraries() {
  lists=$PWD/$build/apt
  mkdir -p "$lists/lists/partial" "$lists/cache/archives/partial" "$lists/packages" "$sysroot.new"
  : >"$lists/status"
  # Only Debian's main archive of the machine's sources: other archives seldom have these architectures. shellcheck
  # disable=SC2016 # apt fills these in
  apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' 'Label: Debian' |
    sort -u >"$lists/sources.list"
  quiet "$lists/update.log" apt get update
  # shellcheck disable=SC2086 # a list of words
  (cd "$lists/packages" && rm -f ./*.deb && quiet "$lists/download.log" apt get download $packages)
  for package in "$lists"/packages/*.deb; do dpkg-deb -x "$package" "$sysroot.new"; done
  mv "$sysroot.new" "$sysroot"
}

for architecture in "$@"; do
  build=build/cross/$architecture
  sysroot=$build/sysroot
  toolchain="--toolchain $PWD/cmake/cross.cmake -DTESSERA_ARCHITECTURE=$architecture"
  echo "cross: $architecture"
  [ -d "$sysroot" ] || unpack_libraries
  # shellcheck disable=SC2086 # a list of words
  quiet "$build/configure.log" cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel $toolchain
  quiet "$build/build.log" cmake --build "$build"
  quiet "$build/test.log" ctest --test-dir "$build" --output-on-failure --no-tests=error --timeout 600 -j "$(nproc)"
  sed -n '/ tests passed, /p; /^Total Test time/p; /did not run:$/,$p' "$build/test.log"
  triplet=$(sed -n 's/^CMAKE_CXX_COMPILER:.*=//p; s/^CMAKE_STRIP:FILEPATH=//p' "$build/CMakeCache.txt")
  # shellcheck disable=SC2086 # a list of words
  STRIP=$triplet bench/strip.sh "$build/bin/tessera" "$build/device" "build/sizes/$architecture" $toolchain
done
