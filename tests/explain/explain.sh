#!/bin/sh
# Asks tessera-explain about a router on which many settings have no effect, and compares with the file `answers`.
#
#   explain.sh BIN_DIRECTORY [--write]
# --write stores the answers as the expected ones.
set -eu
programs=$1
here=$(cd "$(dirname "$0")" && pwd)
answers=$(mktemp)
rootfs=$(mktemp -d)
trap 'rm -rf "$answers" "$rootfs"' EXIT
mkdir -p "$rootfs/etc/ssl/certs"
printf 'a certificate\nof the router\n' >"$rootfs/etc/ssl/certs/ca.crt"
cd "$here"

ask() {
  echo "\$ tessera-explain $*"
  "$programs/tessera-explain" -c router.json -r facts.json "$@" 2>&1 || echo "status $?"
}

# A router with 40 reservations, of which two have the same address.
leases() {
  cat <<'END'
{"network": {"device": {"eth0": {"type": "ethernet"}}, "interface": {"lan": {"type": "ethernet", "enable": true,
  "device": "/network/device/eth0", "ipv4": {"enable": true, "type": "static", "address": "192.168.1.1/24",
  "dhcp_server": {"enable": true, "advanced": {"static_lease": [
END
  for i in $(seq 100 139); do
    ip=$i
    [ "$i" != 130 ] || ip=105
    [ "$i" = 100 ] || echo ,
    printf '{"type": "mac", "mac": "02:00:00:00:00:%x", "name": "host%d", "ip": "192.168.1.%d"}' "$i" "$i" "$ip"
  done
  echo ']}}}}}}}'
}

interface=network.interface
{
  for path in hybrid.ipv4.dhcp_server.lease_time office.ipv4.dhcp_server.advanced.static_lease.1 \
    closed.ipv4.dhcp_server taken.ipv4.dhcp_server; do
    ask $interface.$path
  done
  ask network.vlan.guests.id
  ask vpn.ipsec.tunnel.one.remote.peers
  ask vpn.ipsec.tunnel.two.remote.peers.0.hostname
  ask auth.radius
  ask hybrid.lanmode
  ask $interface.wan.mtu
  ask /network/interface/office/ipv4/dhcp_server/lease_time
  ask dnsmasq.conf:16
  ask --json dnsmasq.conf:13
  ask dnsmasq.conf:99
  ask dnsmasq.conf:0
  ask /network/interface/offise
  ask /etc/passwd
  ask
  # A document from a pipe, with a secret of several lines and a file that the router has.
  tr -d '\n' <openvpn.json | ask -c /dev/stdin config_file_home
  ask -c openvpn.json -f "$rootfs" router-office.ovpn:23
  ask -c openvpn.json --json config_file_home:16
  # A line that runs of two services write.
  office=../../examples/branch-office
  ask -c $office/config.json -r $office/runtime.json -f $office/rootfs vpn.ipsec.tunnel.datacentre.local.id.fqdn_id
  # Where many entries are alike: one of them, and one with the address of another.
  leases >"$rootfs/leases.json"
  lease=$interface.lan.ipv4.dhcp_server.advanced.static_lease
  ask -c "$rootfs/leases.json" dnsmasq.conf:36
  ask -c "$rootfs/leases.json" $lease.30
} | sed "s|$rootfs|ROOTFS|g" >"$answers"
if [ "${2-}" = --write ]; then
  cp "$answers" answers
else
  diff -u answers "$answers"
fi
# Secrets of the document are not printed without --show-secrets.
"$programs/tessera-explain" -c router.json -r facts.json --json vpn.ipsec.tunnel >>"$answers"
if grep -e 'secret line' -e 'is missing' "$answers"; then exit 1; fi
"$programs/tessera-explain" -c openvpn.json --show-secrets config_file_home:17 | grep -q '^second secret line$'
