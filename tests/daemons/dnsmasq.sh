#!/bin/bash
# The real forwarder accepts the file of the branch office, and serves a client with it.
# Usage: dnsmasq.sh BIN_DIR
set -eu
# shellcheck source=tests/daemons/router.sh
. "${0%/*}/router.sh"

example=$SOURCE/examples/branch-office
router_configure "$example/config.json" "$example/runtime.json" "$example/rootfs"
printf '#!/bin/sh\n' >/usr/bin/dnsmasq-script.sh
chmod +x /usr/bin/dnsmasq-script.sh
"$BIN/tessera" dnsmasq || fail "tessera dnsmasq ended with $?"
dnsmasq --test -C /var/run/dnsmasq.conf || fail "the daemon refuses its file"
dnsmasq --test -C "$SOURCE/tests/golden/dnsmasq-small-office/expected/var/run/dnsmasq.conf" ||
  fail "the daemon refuses the file of the small office"

# The LAN and a client on it.
ip netns add client
ip link add lan type veth peer name eth0 netns client
ip addr add 192.168.10.1/24 dev lan
ip link set lan up
start dnsmasq dnsmasq -k --user=root --pid-file= --log-facility=- -C /var/run/dnsmasq.conf
wait_for 10 dig +time=1 +tries=1 @192.168.10.1 localhost || fail "the daemon does not answer: $(cat /run/dnsmasq.log)"

cat >/run/client.sh <<'CLIENT'
#!/bin/sh
[ "$1" = bound ] || exit 0
echo "$ip $router $dns ${domain:-} ${mtu:-}" >/run/lease
CLIENT
chmod +x /run/client.sh

# lease MAC: asks for an address, and prints what the client got.
lease() {
  rm -f /run/lease
  ip -n client link set eth0 down
  ip -n client link set eth0 address "$1"
  ip -n client link set eth0 up
  ip netns exec client busybox udhcpc -f -q -n -t 8 -T 2 -i eth0 -s /run/client.sh -O mtu >/run/udhcpc.log 2>&1 ||
    fail "no lease: $(cat /run/udhcpc.log /run/dnsmasq.log)"
  cat /run/lease
}

expect "static lease by hardware address" "$(lease 00:11:22:33:44:55)" "192.168.10.20 192.168.10.1 192.168.10.1 10.20.0.53 branch.example 1492"
dynamic=$(lease 02:00:00:00:00:99)
last=${dynamic%% *}
last=${last#192.168.10.}
if [ "$last" -lt 100 ] || [ "$last" -gt 199 ]; then fail "address out of the range: $dynamic"; fi

query() { ip netns exec client dig +short +time=2 +tries=2 @192.168.10.1 "$@"; }
ip -n client addr add 192.168.10.77/24 dev eth0
expect "host record" "$(query nas.branch.example)" 192.168.10.30
expect "name of a static lease" "$(query printer)" 192.168.10.20
expect "rebind protection leaves localhost alone" "$(query localhost)" 127.0.0.1
