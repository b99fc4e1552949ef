#!/bin/sh
# Runs the commands of README.md on a new Debian 12, as root and as an ordinary user with sudo, and prints how long each
# took. Needs root, debootstrap and a quarter of an hour; not part of the tests.
#
#   fresh.sh [SCRATCH_DIRECTORY [USER...]]
#
# The new system is a plain directory, made from the Debian archive that this machine's apt uses. It tests the last commit
# of the source tree. The scratch directory keeps a log of each step, and the new system before the first command, which
# the next call uses again.
set -eu
if [ "${TESSERA_OWN_MOUNTS-}" != yes ]; then
  TESSERA_OWN_MOUNTS=yes exec unshare -m --pid --fork --kill-child "$0" "$@"
fi
source=$(cd "$(dirname "$0")/../.." && pwd)
scratch=${1:-/var/tmp/tessera-fresh}
[ $# -eq 0 ] || shift
[ $# -gt 0 ] || set -- root dev
base=$scratch/base
mkdir -p "$scratch"

# step NAME COMMAND...: runs the command, and prints how long it took and whether it failed.
step() {
  name=$1
  shift
  began=$(date +%s)
  status=0
  "$@" >"$scratch/$name.log" 2>&1 </dev/null || status=$?
  printf '%5d s  %s%s\n' $(($(date +%s) - began)) "$name" "$([ $status -eq 0 ] || echo ": failed with status $status")"
  [ $status -eq 0 ] || failed="$failed $name"
}
failed=

make_base() {
  # shellcheck disable=SC2016 # apt fills these in
  apt-get indextargets --format '$(REPO_URI) $(RELEASE)' 'Created-By: Packages' 'Label: Debian' 'Codename: bookworm' |
    sort -u >"$scratch/archive"
  mirror=$(sed -n '1s/ .*//p' "$scratch/archive")
  [ -n "$mirror" ] || { echo "fresh: apt here knows no archive of Debian 12" >&2; return 1; }
  eval "$(apt-config shell http_proxy Acquire::http::Proxy https_proxy Acquire::https::Proxy)"
  [ -z "${http_proxy-}" ] || export http_proxy
  [ -z "${https_proxy-}" ] || export https_proxy
  rm -rf "$base" "$base.new"
  debootstrap --variant=minbase --include=make,git,ca-certificates,sudo bookworm "$base.new" "$mirror"
  apt-config dump | grep -i '^Acquire::https\?::Proxy' >"$base.new/etc/apt/apt.conf.d/90proxy" || :
  chroot "$base.new" useradd -m -s /bin/bash dev
  echo 'dev ALL=(ALL) NOPASSWD: ALL' >"$base.new/etc/sudoers.d/dev"
  rm -rf "$base.new"/var/cache/apt/archives/*.deb
  mv "$base.new" "$base"
}

# inside USER COMMAND: runs the command in the user's clone, as in a login, with the new system as root directory.
inside() {
  # shellcheck disable=SC2016 # for that shell
  unshare -m sh -c 'mount --rbind "$1" "$1" && cd "$1" && mkdir -p media/outside && pivot_root . media/outside &&
    umount -l /media/outside && exec su - "$2" -c "cd tessera && $3"' sh "$root" "$1" "$2"
}

# in_chroot USER COMMAND: the same in a plain chroot, whose / is not a mount point.
in_chroot() {
  chroot "$root" su - "$1" -c "cd tessera && $2"
}

try_as() { # USER
  root=$scratch/$1
  rm -rf "$root"
  cp -a "$base" "$root"
  for file in resolv.conf hosts; do cp -L "/etc/$file" "$root/etc/$file"; done
  mount -t proc proc "$root/proc"
  mount --rbind /sys "$root/sys"
  mount --rbind /dev "$root/dev"
  home=$root$(chroot "$root" sh -c "echo ~$1")
  git -c safe.directory='*' clone -q "$source" "$home/tessera"
  chroot "$root" chown -R "$1:" "${home#"$root"}/tessera"
  step "$1-make-run" inside "$1" 'make run'
  [ "$1" != root ] || step root-make-run-in-a-chroot in_chroot root 'make run'
  step "$1-make-test-with-installation" inside "$1" 'make test'
  step "$1-make-package" inside "$1" 'make package'
  step "$1-install-package" inside "$1" 'sudo apt-get install -y ./build/tessera_*.deb && tessera-config --version'
  step "$1-make-test-from-nothing" inside "$1" 'make clean && make test'
  step "$1-make-test-after-a-change" inside "$1" 'test -f src/output/uci.cc && echo "// changed" >>src/output/uci.cc && make test && git checkout -q .'
  [ -z "$(inside "$1" 'git status --porcelain')" ] || { failed="$failed $1-files-left"; inside "$1" 'git status --short'; }
  umount -R "$root/proc" "$root/sys" "$root/dev"
}

[ -d "$base" ] || step debootstrap make_base
[ -d "$base" ] || { tail -5 "$scratch/debootstrap.log" >&2; exit 1; }
for user in "$@"; do try_as "$user"; done
[ -z "$failed" ] || { echo "fresh: failed, see the logs in $scratch:$failed" >&2; exit 1; }
