#!/bin/bash
# The kernel's own addresses: a bridge takes the one of the member that is configured first, of those that are there.
# Usage: mac_address.sh BIN_DIR SOURCE_DIR
set -eu
BIN=$1
SOURCE=$2
. "$SOURCE/tests/daemons/router.sh"
router_enter "$0" "$@"
router_root
mount -t sysfs sysfs /sys  # shows the links of this namespace

ip link add name first type bridge
ip link set dev first address 02:00:00:00:00:0b
ip link add name second type bridge
ip link set dev second address 02:00:00:00:00:0a

# chosen MEMBER...: the address that a bridge of these members gets.
chosen() {
  local member list=
  for member; do list="$list, \"/network/device/$member\""; done
  cat >/etc/config/config.json <<CONFIG
{"network": {"device": {"first": {"type": "ethernet"}, "second": {"type": "ethernet"}, "gone": {"type": "ethernet"}},
 "bridge": {"lan": {"enable": true, "auto_mac_assignment": true, "device": [${list#, }]}}}}
CONFIG
  "$BIN/tessera" network || fail "tessera network ended with $?"
  sed -n 's/^\toption macaddr "\(.*\)"$/\1/p' /run/uci/network
}

expect "the first member" "$(chosen second first)" 02:00:00:00:00:0a
expect "the other order" "$(chosen first second)" 02:00:00:00:00:0b
expect "a missing member is passed over" "$(chosen gone first second)" 02:00:00:00:00:0b
expect "no member is there" "$(chosen gone)" ""
