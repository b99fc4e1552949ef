# shellcheck shell=bash
# A router to test on: sourced by the tests of real daemons, which run as root.
#
#   router_enter "$0" "$@"   restarts the script in mount, network and host-name namespaces of its own
#   router_root              gives them a fresh /run and private copies of /etc and /usr, so that real paths can be used
#   router_configure CONFIG [FACTS [ROOTFS]]   puts a configuration, runtime facts and extra files in place
#   fail MESSAGE             ends the test
#
# Needs BIN: the directory of the built programs. Processes are to be started with `start NAME COMMAND...`, whose output
# goes to /run/NAME.log; they are stopped when the script ends.

router_enter() {
  [ -n "${ROUTER_INSIDE:-}" ] || exec env ROUTER_INSIDE=1 unshare -m -n -u --propagation private bash "$@"
}

router_root() {
  mount -t tmpfs tmpfs /run
  local directory
  for directory in etc usr; do
    mkdir -p "/run/.overlay/$directory/upper" "/run/.overlay/$directory/work"
    mount -t overlay overlay "/$directory" \
      -o "lowerdir=/$directory,upperdir=/run/.overlay/$directory/upper,workdir=/run/.overlay/$directory/work"
  done
  mkdir -p /etc/config /run/uci
  ip link set lo up
  trap router_stop EXIT
}

router_configure() {
  cp "$1" /etc/config/config.json
  if [ -n "${2:-}" ]; then "$BIN/runt" load "$2"; fi
  if [ -n "${3:-}" ]; then cp -a "$3/etc/." /etc/; fi
}

started=()
start() {
  local name=$1
  shift
  "$@" >"/run/$name.log" 2>&1 &
  started+=($!)
}

router_stop() {
  local pid
  for pid in "${started[@]}"; do
    if kill "$pid" 2>/dev/null; then wait "$pid" 2>/dev/null || true; fi
  done
}

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# wait_for SECONDS COMMAND...: repeats the command until it succeeds.
wait_for() {
  local tries=$(($1 * 10))
  shift
  until "$@" >/dev/null 2>&1; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || return 1
    sleep 0.1
  done
}

# expect WHAT ACTUAL EXPECTED
expect() {
  [ "$2" = "$3" ] || fail "$1: got '$2', expected '$3'"
}
