#!/bin/bash
# Prints the cost of answers of tessera-explain about an example router: explain.sh BIN_DIRECTORY
# Runs are parallel, so a second on two processors is two seconds of CPU time. Other work does not change the CPU time.
set -euo pipefail
programs=$(cd "$1" && pwd)
cd "$(dirname "$0")/../examples/branch-office"
TIMEFORMAT='%R %U %S'
documents=$(mktemp -d)
trap 'rm -rf "$documents"' EXIT
off=$documents/off.json
cp config.json "$off"
PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=../../bench python3 - "$documents" <<'END'
import inputs, sys
for make, count in (inputs.leases, 1000), (inputs.leases, 10000), (inputs.interfaces, 1000):
    with open(f'{sys.argv[1]}/{make.__name__}-{count}.json', 'w') as file:
        file.write(inputs.text(make(count)))
END
server=network.interface.lan.ipv4.dhcp_server
"$programs/tessera-config" set "$off" $server.enable false >&2

row() { # LIMIT QUESTION [DOCUMENT]: at most LIMIT seconds on two processors
  local seconds=$1 question=$2 document=${3-config.json} times
  times=$({ time "$programs/tessera-explain" -c "$document" -r runtime.json -f rootfs "$question" >/dev/null; } 2>&1)
  [ "$document" = config.json ] || question="$question of $(basename "$document" .json)"
  awk -v question="$question" -v seconds="$seconds" -v times="$times" 'BEGIN {
    split(times, of, " ")
    cpu = of[2] + of[3]
    printf "| `%s` | %.1f | %.1f | %d | %s |\n", question, of[1], cpu, 2 * seconds, cpu <= 2 * seconds ? "met" : "**missed**"
  }'
}

printf '\n### Answers\n\n'
printf '| tessera-explain | s | CPU s | at most | |\n|---|--:|--:|--:|---|\n'
row 1 dnsmasq.conf:41
row 1 pam.conf:20
row 3 uci/network:60
row 3 uci/network:200
row 3 datacentre.conf:20
row 3 datacentre.rsa:2
row 3 $server "$off"
row 20 --unused
row 10 dnsmasq.conf:1000 "$documents/leases-1000.json"
row 60 dnsmasq.conf:5000 "$documents/leases-10000.json"
row 10 uci/network:60 "$documents/interfaces-1000.json"
row 10 uci/network:6006 "$documents/interfaces-1000.json"
