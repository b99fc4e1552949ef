#!/bin/bash
# tessera-apply on a router of its own: what it shows, changes, takes back and refuses.
# Usage: apply.sh BIN_DIR
set -eu
# shellcheck source=tests/daemons/router.sh
. "${0%/*}/../daemons/router.sh"
cd /run
PATH=$BIN:$PATH
document=/etc/config/config.json
history=/etc/config/history

# says STATUS OUTPUT ARGUMENTS...: runs tessera-apply; times and seconds are left out of what it says.
says() {
  local status=0 said
  said=$(tessera-apply "${@:3}" 2>&1) || status=$?
  said=$(sed -E 's/[0-9-]{10} [0-9:]{8}/TIME/; s/[0-9]+ seconds more/N seconds more/' <<<"$said")
  expect "status of $3" "$status" "$1"
  diff -u <(echo "$2") <(echo "$said") || fail "wrong output of ${*:3}"
}

# The state of the router as one string.
state() {
  (cd /; sha256sum etc/config/config.json run/{pam,dnsmasq,ipsec}.conf run/uci/network)
}

hook() {
  mkdir -p /etc/tessera/reload.d
  printf '#!/bin/sh\n%s\n' "$2" >"/etc/tessera/reload.d/$1"
  chmod +x "/etc/tessera/reload.d/$1"
}


cp "$SOURCE/tests/apply/router.json" old.json
sed 's/12h/1d/; s/192\.168\.1\./192.168.2./' old.json >new.json
sed 's/"199"/199/' old.json >wrong.json
install -m 640 old.json $document
for service in pam dnsmasq ipsec network; do tessera $service || [ $service = ipsec ]; done
old=$(state)

lines='changed /var/run/dnsmasq.conf            +1 -1
changed /var/run/uci/network             +1 -1
services: dnsmasq network'
says 0 'nothing changes' status
says 0 "$lines" plan new.json
says 0 "${lines%%$'\n'*}
services: dnsmasq" plan new.json dnsmasq pam
expect "services in JSON" "$(tessera-apply plan new.json --json | jq -c '[.services, .files[].service]')" '[["dnsmasq","network"],"dnsmasq","network"]'
tessera-apply plan wrong.json 2>messages && fail "a refused document is planned"
grep -q '^wrong.json:.*error' messages || fail "$(cat messages)"
says 1 "$(cat messages)" wrong.json
[ ! -e $history/1.json ] || fail "a plan leaves something"
expect "state after plans" "$(state)" "$old"

# Nothing is changed when the history or the document cannot be stored.
mkdir -p $history
mount -t tmpfs -o size=4k,nr_inodes=1 tmpfs $history
says 3 "$lines
tessera-apply: $history/1.json: No space left on device; nothing is changed" new.json
umount $history
mount --bind /etc /etc
mount -o remount,ro,bind /etc
status=0
tessera-apply new.json >messages 2>&1 || status=$?
expect "status with a read-only /etc" "$status" 3
grep -q 'Read-only file system; nothing is changed' messages || fail "$(cat messages)"
says 0 'nothing changes' status
umount /etc
expect "state after failures" "$(state)" "$old"

# An apply, and what it tells the hooks.
hook dnsmasq 'echo "dnsmasq $*" >>/run/reloads'
hook network 'echo "network $*" >>/run/reloads'
says 0 "$lines
applied as 1" new.json -m 'a longer lease'
new=$(state)
expect "reloads" "$(cat reloads)" "dnsmasq /var/run/dnsmasq.conf
network /var/run/uci/network"
cmp new.json $document
expect "mode of the document" "$(stat -c %a $document)" 640
expect "mode of the earlier document" "$(stat -c %a $history $history/1.json | tr '\n' ' ')" "700 600 "
cmp old.json $history/1.json
says 0 '1 TIME a longer lease' history
says 0 'nothing changes' new.json
says 2 'tessera-apply: nothing waits for confirmation' confirm
rm /etc/tessera/reload.d/network
says 0 "$lines
reload network: there is no /etc/tessera/reload.d/network
applied as 2" rollback
expect "state after rollback" "$(state)" "$old"
says 1 'tessera-apply: the document before change 9 is not kept' rollback 9

# A change that waits.
says 0 "$lines
reload network: there is no /etc/tessera/reload.d/network
applied as 3; confirm within 600 seconds: tessera-apply confirm" new.json --confirm 600
says 2 'tessera-apply: change 3 waits for confirmation: tessera-apply confirm, or rollback' old.json
says 0 'change 3 waits for confirmation, N seconds more
nothing changes' status
says 0 'change 3 is confirmed' confirm
expect "state when confirmed" "$(state)" "$new"
says 0 "$lines
reload network: there is no /etc/tessera/reload.d/network
applied as 4; confirm within 600 seconds: tessera-apply confirm" old.json --confirm=600
says 0 'reload network: there is no /etc/tessera/reload.d/network
tessera-apply: change 4 was taken back: it was asked for' rollback
expect "state when taken back" "$(state)" "$new"
[ ! -e $history/4.json ] || fail "what was taken back stays in the history"

# The system goes down before it is confirmed; the record of another boot tells.
tessera-apply old.json --confirm 600 >/dev/null
pgrep -x tessera-apply >pids && xargs kill -9 <pids
sed -i 's/^\([0-9]* [0-9]*\) [^ ]*/\1 another-boot/' /etc/config/pending
says 0 'tessera-apply: change 4 was taken back: the system went down before it was completed or confirmed' boot
cmp new.json $document
says 4 "$lines" status
for service in dnsmasq network; do tessera $service; done
expect "state after the boot" "$(state)" "$new"
says 0 '' boot

# A hook that fails, and a service that ends otherwise than in private.
hook network 'grep -q 192.168.2 /run/uci/network'
says 6 "$lines
tessera-apply: /etc/tessera/reload.d/network ended with status 1
tessera-apply: while change 4 is taken back: /etc/tessera/reload.d/dnsmasq ended with status 1
tessera-apply: change 4 was taken back: it failed" "$(hook dnsmasq 'grep -q 192.168.1 /run/dnsmasq.conf'; echo old.json)"
expect "state after a hook failed" "$(state)" "$new"
rm -r /etc/tessera
rm dnsmasq.conf
mkfifo dnsmasq.conf
status=0
tessera-apply old.json >messages 2>&1 || status=$?
expect "status of a service that fails" "$status" 6
grep -q 'dnsmasq ended with status 1' messages || fail "$(cat messages)"
cmp new.json $document
rm dnsmasq.conf
tessera dnsmasq
expect "state after a service failed" "$(state)" "$new"

# Two at once take turns, and twenty documents are kept.
for number in $(seq 10 40); do cp old.json "$history/$number.json"; done
for _ in 1 2 3; do
  tessera-apply old.json >/dev/null &
  tessera-apply new.json >/dev/null
  wait $!
done
expect "documents that are kept" "$(find $history -name '*.json' | wc -l)" 20

# A router's first document, taken back.
rm -r $document $history {pam,dnsmasq,ipsec}.conf uci/network
tessera-apply old.json --confirm 600 >/dev/null
says 0 "$(printf 'reload %s: there is no /etc/tessera/reload.d/%s\n' pam pam dnsmasq dnsmasq ipsec ipsec network network)
tessera-apply: change 1 was taken back: it was asked for" rollback
if ls $document {pam,dnsmasq,ipsec}.conf uci/network 2>/dev/null; then fail "something of the first document stays"; fi

# Who may do it, and how it is asked for.
says 2 "$(tessera-apply --help | sed -n '/^Usage/,/^$/p' | sed '1i tessera-apply: there are too many words')" confirm 1
status=0
setpriv --reuid=65534 --clear-groups "$BIN/tessera-apply" status >messages 2>&1 || status=$?
expect "status without root" "$status $(cat messages)" "3 tessera-apply: has to run as root"
