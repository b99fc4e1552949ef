#!/bin/bash
# A change cuts off a client and nobody confirms it: after it is taken back, the real forwarder serves the client again.
# Usage: cut_off.sh BIN_DIR
set -eu
# shellcheck source=tests/daemons/router.sh
. "${0%/*}/../daemons/router.sh"
cd /run
PATH=$BIN:$PATH
trap 'kill "$(cat /run/forwarder.pid)" 2>/dev/null' EXIT
mkdir -p /run/.overlay/dev/upper /run/.overlay/dev/work
mount -t overlay overlay /dev -o lowerdir=/dev,upperdir=/run/.overlay/dev/upper,workdir=/run/.overlay/dev/work
start syslogd busybox syslogd -n -O /run/messages

ip netns add client
ip link add lan type veth peer name eth0 netns client
ip link set lan up
ip -n client link set eth0 up
printf '#!/bin/sh\n' >/usr/bin/dnsmasq-script.sh
chmod +x /usr/bin/dnsmasq-script.sh

# Hooks: one does the work of the interface manager, the other starts the forwarder.
mkdir -p /etc/tessera/reload.d
cat >/etc/tessera/reload.d/network <<'HOOK'
#!/bin/sh
address=$(sed -n 's/.*option ipaddr "\(.*\)"/\1/p' /run/uci/network)
ip addr flush dev lan && ip addr add "$address/24" dev lan
HOOK
cat >/etc/tessera/reload.d/dnsmasq <<'HOOK'
#!/bin/sh
[ ! -e /run/forwarder.pid ] || kill "$(cat /run/forwarder.pid)"
for try in 1 2 3 4 5; do
  dnsmasq --user=root --pid-file=/run/forwarder.pid --log-facility=/run/forwarder.log -C /run/dnsmasq.conf && exit
  sleep 0.2 # the old one has not ended yet
done
exit 1
HOOK
chmod +x /etc/tessera/reload.d/*

# lease: asks for an address and prints it; fails when no server gives one.
cat >/run/client.sh <<'CLIENT'
#!/bin/sh
[ "$1" = bound ] || exit 0
echo "$ip" >/run/lease
CLIENT
chmod +x /run/client.sh
lease() {
  rm -f /run/lease
  ip netns exec client busybox udhcpc -f -q -n -t 8 -T 2 -i eth0 -s /run/client.sh >/run/udhcpc.log 2>&1 &&
    cat /run/lease
}
reaches() {
  ip netns exec client busybox ping -c 1 -W 1 "$1" >/dev/null 2>&1
}

cp "$SOURCE/tests/apply/router.json" old.json
sed 's/192\.168\.1\./192.168.2./' old.json >new.json
tessera-apply old.json >/run/log 2>&1 || fail "the first apply: $(cat /run/log)"
first=$(lease) || fail "no lease: $(cat /run/udhcpc.log /run/forwarder.log)"
[[ $first == 192.168.1.* ]] || fail "a lease of another network: $first"
ip -n client addr add "$first/24" dev eth0
wait_for 10 reaches 192.168.1.1 || fail "the client does not reach its router"

# The caller and its session end; the change must not depend on them.
{ setsid -w sh -c 'tessera-apply new.json --confirm 4 >/run/log 2>&1; kill -9 $$'; } 2>/dev/null || :
grep -q '^applied as 2; confirm within 4 seconds' /run/log || fail "$(cat /run/log)"
if reaches 192.168.1.1; then fail "the client is not cut off"; fi
wait_for 60 test ! -e /etc/config/pending || fail "nothing is taken back"
wait_for 10 grep -q 'daemon.notice tessera-apply.*: change 2 was taken back: it was not confirmed in time' /run/messages ||
  fail "it is not logged: $(cat /run/messages)"
wait_for 10 reaches 192.168.1.1 || fail "the client does not reach its router again"
expect "the lease" "$(lease)" "$first"
cmp old.json /etc/config/config.json
