#!/bin/bash
# A run whose standard streams are closed, or whose reader has gone away, still writes whole files and nothing else.
# Usage: streams.sh BIN_DIR SOURCE_DIR
set -eu
BIN=$1
SOURCE=$2
. "$SOURCE/tests/daemons/router.sh"
router_enter "$0" "$@"
router_root

# A duplicate lease makes the DNS mapper log, a tunnel without an interface the IPsec mapper.
lease='{"type": "mac", "mac": "00:11:22:33:44:55", "ip": "10.0.0.9"}'
cat >/etc/config/config.json <<CONFIG
{"network": {"device": {"eth1": {"type": "ethernet"}}, "interface": {"lan": {"type": "ethernet", "enable": true,
  "device": "/network/device/eth1", "ipv4": {"enable": true, "type": "static", "address": "10.0.0.1/24", "dhcp_server":
  {"enable": true, "lease_start": "10", "lease_end": "20", "advanced": {"static_lease": [$lease, $lease]}}}}}},
 "vpn": {"ipsec": {"tunnel": {"t": {"enable": true}}}}}
CONFIG
written() { cat /run/dnsmasq.conf /run/ipsec.conf /run/ipsec.secrets /run/hostnamesniffer.cfg 2>/dev/null || true; }
for service in dnsmasq ipsec; do
  "$BIN/tessera" "$service" 2>/run/messages || true
  [ -s /run/messages ] || fail "$service logs nothing"
  whole=$(written)
  (exec <&- >&- 2>&-; "$BIN/tessera" "$service") || true
  expect "$service without streams" "$(written)" "$whole"
  { "$BIN/tessera" "$service" || echo $? >/run/status; } 2>&1 | true
  expect "$service whose log reader is gone" "$(written)" "$whole"
done
expect "status of the run whose log reader is gone" "$(cat /run/status)" 1
