#!/bin/bash
# Tests the files of the network service with addresses of the kernel, and with a shell in place of the modem manager.
# Usage: network.sh BIN_DIR
set -eu
# shellcheck source=tests/daemons/router.sh
. "${0%/*}/router.sh"
mount -t sysfs sysfs /sys  # shows the links of this namespace

# A bridge takes the kernel's address of its first configured member that exists.
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

# The modem manager reads the lines with a shell: every field has to give the configured value.
cellular=$SOURCE/tests/golden/network-cellular
router_configure "$cellular/config.json" "$cellular/runtime.json"
"$BIN/tessera" network || fail "tessera network ended with $?"
while IFS= read -r line; do
  (
    eval "${line#*,internet,}" # the fields are assignments
    # shellcheck disable=SC2154 # assigned by the line
    printf '%s|' "$ip_version" "$auth" "$username" "$password" "$attm2mglobal" "$match_carrier" "$match_plmn" "${cid-0}"
    echo
  )
done </run/serviceproviders-full.txt >/run/read
jq -r '.network.interface.full.modem.apn[] |
  (if (.match_carrier // "") == "" then "any"
   elif .match_carrier == "other" then .match_carrier_other // "other" else .match_carrier end) as $carrier |
  [.ip_version, .auth, .username, .password, (if .attm2mglobal then 1 else 0 end), $carrier, .match_plmn, .cid // 0]
  | map("\(. // "")|") | join("")' "$cellular/config.json" >/run/configured
diff /run/configured /run/read || fail "the modem manager reads other values"
