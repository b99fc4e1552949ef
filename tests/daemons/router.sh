# shellcheck shell=bash disable=SC2034 # the scripts use what is set here
# A router for the tests of real daemons, which run as root and source this file first; their first argument is the
# directory of the built programs. It restarts the script in new namespaces (mounts, network, host name, processes) with
# an empty /run and private copies of /etc and /usr, so that the tests can use real paths.
#
#   $BIN, $SOURCE            the built programs and the source tree
#   router_configure CONFIG [FACTS [ROOTFS]]   installs a configuration, runtime facts and more files
#   start NAME COMMAND...    starts a process, which ends with the script; its output goes to /run/NAME.log
#   wait_for SECONDS COMMAND...   repeats the command until it succeeds
#   expect WHAT ACTUAL EXPECTED   compares two strings
#   fail MESSAGE             ends the test
BIN=$1
SOURCE=$(realpath "${0%/*}/../..")
[ -n "${ROUTER_INSIDE:-}" ] ||
  exec env ROUTER_INSIDE=1 unshare -m -n -u -p -f --kill-child --mount-proc --propagation private bash "$0" "$@"

mount -t tmpfs tmpfs /run
for directory in etc usr; do
  mkdir -p "/run/.overlay/$directory/upper" "/run/.overlay/$directory/work"
  mount -t overlay overlay "/$directory" \
    -o "lowerdir=/$directory,upperdir=/run/.overlay/$directory/upper,workdir=/run/.overlay/$directory/work"
done
mkdir -p /etc/config /run/uci
ip link set lo up

router_configure() {
  cp "$1" /etc/config/config.json
  if [ -n "${2:-}" ]; then "$BIN/runt" load "$2"; fi
  if [ -n "${3:-}" ]; then cp -a "$3/etc/." /etc/; fi
}

start() {
  local name=$1
  shift
  "$@" >"/run/$name.log" 2>&1 &
}

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

wait_for() {
  local tries=$(($1 * 10))
  shift
  until "$@" >/dev/null 2>&1; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || return 1
    sleep 0.1
  done
}

expect() {
  [ "$2" = "$3" ] || fail "$1: got '$2', expected '$3'"
}
