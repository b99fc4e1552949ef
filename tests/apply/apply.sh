#!/bin/bash
# Tests tessera-apply on a private router: what it prints, changes, takes back and refuses.
# Usage: apply.sh BIN_DIR
set -eu
# shellcheck source=tests/daemons/router.sh
. "${0%/*}/../daemons/router.sh"
cd /run
PATH=$BIN:$PATH
document=/etc/config/config.json
history=/etc/config/history

# says STATUS OUTPUT ARGUMENTS...: runs tessera-apply and compares; times and seconds in its output are replaced.
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
[ ! -e $history/1.json ] || fail "a plan leaves a file"
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

# An apply, and the arguments and environment of its hooks.
hook dnsmasq 'echo "dnsmasq $*" >>/run/reloads'
hook network 'echo "network $* in $PWD with $(umask)" >>/run/reloads'
(umask 077; says 0 "$lines
applied as 1" new.json -m $'a longer\nlease')
new=$(state)
expect "reloads" "$(cat reloads)" "dnsmasq /var/run/dnsmasq.conf
network /var/run/uci/network in / with 0022"
cmp new.json $document
expect "mode of the document" "$(stat -c %a $document)" 640
expect "mode of the earlier document" "$(stat -c %a $history $history/1.json | tr '\n' ' ')" "700 600 "
cmp old.json $history/1.json
touch $history/{007.json,4294967295.json,x.json}
says 0 '1 TIME a longer lease' history
rm $history/{007.json,4294967295.json,x.json}
says 0 'nothing changes' new.json
says 2 'tessera-apply: no change waits for confirmation' confirm
rm /etc/tessera/reload.d/network
says 0 "$lines
reload network: there is no /etc/tessera/reload.d/network
applied as 2" rollback
expect "state after rollback" "$(state)" "$old"
says 1 'tessera-apply: the document before change 9 is not kept' rollback 9

# A change that waits for confirmation.
cp new.json $document.new
says 0 "$lines
reload network: there is no /etc/tessera/reload.d/network
applied as 3; confirm within 600 seconds: tessera-apply confirm" $document.new --confirm 600
cmp new.json $document.new
says 2 'tessera-apply: change 3 waits for confirmation: tessera-apply confirm, or rollback' - <old.json
expect "the change that waits, in JSON" "$(tessera-apply status --json | jq -c '[.services, .findings, .pending.change]')" '[[],[],3]'
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
[ ! -e $history/4.json ] || fail "a change that was taken back is left in the history"

# apply_alone: an apply whose processes are killed, so that nothing takes the change back when the time is up.
apply_alone() {
  tessera-apply old.json --confirm 600 >/dev/full 2>messages
  expect "the message when the output cannot be written" "$(cat messages)" "tessera-apply: standard output cannot be written"
  pgrep -x tessera-apply >pids && xargs kill -9 <pids
}
for late in '6 confirm' '0 rollback'; do
  apply_alone
  sed -i 's/ [0-9]* / 1 /' /etc/config/pending
  says "${late% *}" 'reload network: there is no /etc/tessera/reload.d/network
tessera-apply: change 4 was taken back: it was not completed or confirmed in time' "${late#* }"
  expect "state after a late ${late#* }" "$(state)" "$new"
done

# The system goes down before the change is confirmed: the record names another boot.
apply_alone
sed -i 's/^\([0-9]* [0-9]*\) [^ ]*/\1 another-boot/' /etc/config/pending
# starts STATUS OUTPUT: runs the boot script.
starts() {
  local status=0
  busybox ash "$SOURCE/tools/apply/examples/boot.sh" >messages 2>&1 || status=$?
  expect "the boot script" "$status $(cat messages)" "$*"
}
rm -r uci
starts 0 'tessera-apply: change 4 was taken back: the system went down before it was completed or confirmed'
expect "state after the boot" "$(state)" "$new"
says 0 'nothing changes' status
rm -r uci
echo 5 0 >/etc/config/pending
starts 1 'tessera-apply: /etc/config/pending: is damaged; remove it to keep the installed document'
expect "state after a boot with damage" "$(state)" "$new"
rm /etc/config/pending

# The example hooks, with scripts in place of the programs that they call.
mkdir -p /etc/init.d
cat >stand-in <<'STAND_IN'
#!/bin/sh
echo "${0##*/} $*" >>/run/calls
[ "$1 $2" != "status " ] && [ "$2" != is-active ] || [ -e /run/is-up ]
STAND_IN
for program in /usr/bin/{systemctl,ubus} /usr/sbin/ipsec /etc/init.d/{dnsmasq,ipsec,network}; do
  install -m 755 stand-in "$program"
done
calls() {
  rm -f calls
  for name in dnsmasq ipsec network; do "$SOURCE/tools/apply/examples/$1/$name" /var/run/file; done
  cat calls
}
up='ipsec rereadall
ipsec update'
expect "procd, down" "$(calls procd)" "dnsmasq restart
ipsec status
ipsec start
network reload"
expect "systemd, down" "$(calls systemd)" "systemctl restart dnsmasq.service
systemctl --quiet is-active strongswan-starter.service
systemctl start strongswan-starter.service
ubus call network reload"
touch is-up
expect "procd, up" "$(calls procd | sed -n '/status/,/update/p')" "ipsec status
$up"
expect "systemd, up" "$(calls systemd | sed -n '/active/,/update/p')" "systemctl --quiet is-active strongswan-starter.service
$up"

# A hook that fails, a hook that would wait for its own change, and a service that ends with another status than
# planned.
hook network 'grep -q 192.168.2 /run/uci/network'
says 6 "$lines
tessera-apply: /etc/tessera/reload.d/network ended with status 1
tessera-apply: while change 4 is taken back: /etc/tessera/reload.d/dnsmasq ended with status 1
tessera-apply: change 4 was taken back: it failed" "$(hook dnsmasq 'grep -q 192.168.1 /run/dnsmasq.conf'; echo old.json)"
expect "state after a hook failed" "$(state)" "$new"
hook network "$BIN/tessera-apply confirm"
status=0
tessera-apply old.json >messages 2>&1 || status=$?
expect "status of a hook that confirms" "$status" 6
grep -q '^tessera-apply: cannot be run by a hook' messages || fail "$(cat messages)"
expect "state after a hook confirmed" "$(state)" "$new"
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

# Of two applies at the same time the second waits for the first; twenty documents are kept.
for number in $(seq 10 40); do cp old.json "$history/$number.json"; done
for _ in 1 2 3; do
  tessera-apply old.json >/dev/null &
  tessera-apply new.json >/dev/null
  wait $!
done
expect "documents that are kept" "$(find $history -name '*.json' | wc -l)" 20

# A tunnel that waits for its interface is not a failure; a refused document is a failure of every service.
jq '.vpn.ipsec.tunnel.head = {enable: true, local: {type: "interface", interface: "lan"},
  remote: {ip_version: "ipv4", peers: [{hostname: "head.example"}]}, auth: {type: "secret", secret: "unseen"}}' \
  old.json >tunnel.json
tessera-apply old.json >/dev/null
tessera-apply tunnel.json >plan 2>messages || fail "$(cat messages)"
expect "a tunnel that waits" "$(tail -1 messages; sed -n 2p plan)" \
  "tessera_ipsec: tunnel 'head' local endpoint interface not ready. Skipping tunnel
services: network"
runt set network.interface.lan.ipv4.ready 1
runt set network.interface.lan.ipv4.address 192.168.1.1
tessera-apply status >plan 2>messages && fail "the address changes nothing"
expect "the services that the address changes" "$(tail -1 plan)" 'services: ipsec network'
echo '{' >$document
says 1 "tessera: $document:2:1: syntax error: the file ends too early
tessera-apply: ipsec ended with status 1" status ipsec

# Take back the first document of a router.
rm -r $document $history {pam,dnsmasq,ipsec}.conf uci/network
tessera-apply old.json --confirm 600 >/dev/null
says 0 "$(printf 'reload %s: there is no /etc/tessera/reload.d/%s\n' pam pam dnsmasq dnsmasq ipsec ipsec network network)
tessera-apply: change 1 was taken back: it was asked for" rollback
if ls $document {pam,dnsmasq,ipsec}.conf uci/network 2>/dev/null; then fail "files of the first document are left"; fi

# Wrong command lines, and a user other than root.
says 2 "$(tessera-apply --help | sed -n '/^Usage/,/^$/p' | sed '1i tessera-apply: an option does not belong to this command')" status -m x
says 2 "$(tessera-apply --help | sed -n '/^Usage/,/^$/p' | sed '1i tessera-apply: there are too many arguments')" confirm 1
status=0
setpriv --reuid=65534 --clear-groups "$BIN/tessera-apply" status >messages 2>&1 || status=$?
expect "status without root" "$status $(cat messages)" "3 tessera-apply: has to run as root"
