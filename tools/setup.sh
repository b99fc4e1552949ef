#!/bin/sh
# Installs the Debian packages that are missing for the given purposes (build, test, lint, doc, package, bench, cross).
# Prints nothing and calls no package manager when all are there.
set -eu

build_packages='
  g++ cmake ninja-build
  rapidjson-dev libssl-dev
'
test_packages='
  clang libclang-rt-14-dev libgtest-dev valgrind mandoc groff-base
  bind9-dnsutils busybox-static dnsmasq-base iproute2 kmod netbase procps
  freeradius libpam-radius-auth libpam0g-dev pamtester
  libcharon-extauth-plugins libcharon-extra-plugins libstrongswan-extra-plugins strongswan-charon strongswan-pki strongswan-starter
  openssl openvpn
  dpkg-dev file jq python3 python3-jsonschema strace util-linux
'
lint_packages='clang-format clang-tidy cppcheck shellcheck'
doc_packages='mandoc'
package_packages='dpkg-dev file mandoc'
bench_packages='
  busybox-static netplan.io python3-jinja2
  python3 strace valgrind
'
cross_packages='
  g++-aarch64-linux-gnu g++-arm-linux-gnueabihf g++-mipsel-linux-gnu g++-s390x-linux-gnu
  qemu-user
'

wanted=
for purpose in "$@"; do
  case $purpose in
    build) wanted="$wanted $build_packages" ;;
    test) wanted="$wanted $test_packages" ;;
    lint) wanted="$wanted $lint_packages" ;;
    doc) wanted="$wanted $doc_packages" ;;
    package) wanted="$wanted $package_packages" ;;
    bench) wanted="$wanted $bench_packages" ;;
    cross) wanted="$wanted $cross_packages" ;;
    *) echo "usage: setup.sh [build] [test] [lint] [doc] [package] [bench] [cross]" >&2; exit 2 ;;
  esac
done

missing=
for package in $wanted; do
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing="$missing $package"
done

# An ordinary user needs sudo to install packages, and for the tests that need root.
as_root=
if [ "$(id -u)" -ne 0 ]; then
  as_root=sudo
  why=${missing:+"install as root:$missing"}
  case " $* " in *' test '*) why=${why:-some tests need root} ;; esac
  [ -n "$why" ] || exit 0
  command -v sudo >/dev/null || {     echo "setup: sudo is not installed: $why" >&2; exit 1; }
  sudo -n true 2>/dev/null || sudo -v || exit 1
fi
case " $* " in
  *' test '*)
    if command -v mountpoint >/dev/null && ! mountpoint -q /; then
      echo 'setup: the tests make namespaces, which the kernel refuses in a plain chroot: / has to be a mount point' >&2
      exit 1
    fi
    ;;
esac
[ -n "$missing" ] || exit 0

echo "Installing:$missing"
log=$(mktemp)
policy=/usr/sbin/policy-rc.d
own_policy=
clean_up() {
  rm -f "$log"
  [ -z "$own_policy" ] || $as_root rm -f "$policy"
}
trap clean_up EXIT
trap 'exit 130' INT TERM HUP

# The tests need the daemons' programs; no daemon may start on this machine.
if [ ! -e "$policy" ]; then
  own_policy=yes
  printf '#!/bin/sh\nexit 101\n' | $as_root tee "$policy" >/dev/null
  $as_root chmod 755 "$policy"
fi

apt() {
  $as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 "$@" </dev/null >"$log" 2>&1 || {
    cat "$log" >&2
    echo "setup: apt-get $1 failed" >&2
    exit 1
  }
}
apt update
# shellcheck disable=SC2086 # a list of words
apt install -y --no-install-recommends -o Dpkg::Options::=--force-confold $missing
