#!/bin/sh
# Tests runs that find a lock, a changed configuration, or files of other users, and the command lines of tessera.
#
#   runs.sh BIN_DIRECTORY
set -eu
bin=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
devices=$(realpath "${0%/*}")/network-devices/config.json
echo '{"network.interface.wan.ipv4.ready": "1", "network.interface.wan.ipv4.address": "192.0.2.1"}' >"$work/facts.json"
cp "$bin/tessera" "$work" # a preview shows the directory of the program that it runs

# preview SERVICE CONFIG: previews the configuration, with the commands on standard input in place of tessera.
preview() {
  { echo '#!/bin/sh' && echo 'set -eu' && echo "tessera=\$(dirname \"\$0\")/tessera" && cat; } >"$work/commands"
  chmod +x "$work/commands"
  echo "$2" >"$work/config.json"
  rm -rf "$work/out"
  "$bin/tessera-preview" -c "$work/config.json" -r "$work/facts.json" --tessera "$work/commands" -o "$work/out" "$1"
}

fail() {
  echo "runs.sh: $*" >&2
  exit 1
}

answer=$("$bin/tessera" 2>&1 || echo "status $?")
[ "$answer" = 'Usage: tessera <name>
status 1' ] || fail "without a service: $answer"
answer=$("$bin/tessera" 2>/dev/null) || :
[ -z "$answer" ] || fail "without a service, on standard output: $answer"
"$bin/tessera" --version | grep -q '^tessera [0-9.]*$' || fail "prints no version"
"$bin/tessera" --help | grep -q '^Usage: tessera <name>$' || fail "explains nothing"
"$bin/tessera" --version >"$work/version" || fail "--version fails"
while IFS='|' read -r arguments status output errors; do
  got=0
  # shellcheck disable=SC2086 # a list of words
  "$bin/tessera-preview" -c "$devices" -o "$work/shown" network $arguments >"$work/stdout" 2>"$work/stderr" || got=$?
  [ "$got|$(cat "$work/stdout")|$(cat "$work/stderr")" = "$status|$output|$errors" ] ||
    fail "network $arguments: $got, $(cat "$work/stdout" "$work/stderr")"
  [ "$(find "$work/shown" -type f)" = "" ] || fail "network $arguments writes files"
  rmdir "$work/shown"
done <<'ROWS'
--device network.device.dongle|0|usb0|
--device|1||error: expected single parameter for --device PATH
--device network.device.dongle -p|1||error: expected single parameter for --device PATH
x --device|1||error: config lookup failed
--device network.device.nothing|1||error: config lookup failed
--device network|1||error: network node lookup failed
ROWS

# Without the store, everything else is written.
preview network '{"network": {"advanced": {"ula_prefix": "fd00::/48"}},
  "vpn": {"openvpn": {"server": {"s": {"enable": true, "server_address": "10.8.0.1"}}}}}' 2>"$work/stderr" <<'END'
mkdir -p /var/run/kept
mv /var/run/runt /var/run/kept/ 2>/dev/null || :
: >/var/run/runt
$tessera network
rm /var/run/runt
mv /var/run/kept/runt /var/run/ 2>/dev/null || :
END
grep -q '^tessera_network: failed to initialize runt interface$' "$work/stderr" || fail "no message about a missing store"
grep -q fd00:: "$work/out/var/run/uci/network" || fail "nothing is written without the store"
grep -q '^ifconfig 10.8.0.1 255.255.255.255$' "$work/out/var/run/config_file_server_s" || fail "an address without a length is not a host"

# When no method works, local users can log in.
for method in radius local; do
  # shellcheck disable=SC2016 # for the inner shell
  echo '"$tessera" pam' | preview pam "{\"auth\": {\"method\": [\"$method\"]}}"
  cp "$work/out/var/run/pam.conf" "$work/$method.conf"
done
cmp -s "$work/radius.conf" "$work/local.conf" || fail "nobody can log in without a server"

tunnel='{"vpn": {"ipsec": {"tunnel": {"t12345": {"enable": true, "remote": {"ip_version": "ipv4"},'
tunnel=$tunnel' "local": {"type": "interface", "interface": "wan"}}}}}}'

# A run that has waited for the lock writes the configuration of that moment.
while read -r service path config; do
  preview "$service" "$config" 2>"$work/stderr" <<END
exec 9>/var/run/tessera-$service.lock
flock 9
"\$tessera" $service 9>&- &
sleep 0.5
sed -i s/12345/67890/ /etc/config/config.json
rm /var/run/tessera-$service.lock
exec 9>&-
wait
END
  grep -q 67890 "$work/out/var/run/$path" || fail "$service writes an older configuration"
  [ ! -e "$work/out/var/run/tessera-$service.lock" ] || fail "$service leaves its lock"
done <<END
pam pam.conf {"auth": {"idle_timeout": 12345}}
dnsmasq dnsmasq.conf {"service": {"dns": {"host": [{"name": "host12345"}]}}}
network uci/network {"network": {"advanced": {"ula_prefix": "fd00:12345::/48"}}}
ipsec ipsec.conf $tunnel
END

# A message names a file that cannot be read or removed.
filter='{"firewall": {"web_filter": {"enable": true, "service": "umbrella"}}}'
while IFS='|' read -r service config cause message; do
  printf '%s\n' "$cause" "\$tessera $service || :" | preview "$service" "$config" 2>"$work/stderr"
  grep -q ": error $message\$" "$work/stderr" || fail "$service: $(cat "$work/stderr")"
done <<END
network|$tunnel|ln -s ipsec.d /var/run/ipsec.d|looking for /var/run/ipsec.d/conf/t12345.conf: Too many levels of symbolic links
dnsmasq|$filter|ln -s web-filter-id /etc/config/web-filter-id|looking for /etc/config/web-filter-id: Too many levels of symbolic links
ipsec|$tunnel|mkdir -p /var/run/ipsec.d.new/conf/t12345.conf|removing /var/run/ipsec.d.new/conf/t12345.conf: Is a directory
END

[ "$(id -u)" -eq 0 ] || exit 0

# on_router PATH CONFIG COMMANDS: runs the commands on a router with that configuration and a file of another user at
# PATH.
on_router() {
  path=$1
  echo "$2" >"$work/config.json"
  shift 2
  # shellcheck disable=SC2016 # for the inner shell
  unshare -m sh -ec '
    for place in /etc /run; do mount -t tmpfs none $place; done
    mkdir -p /etc/config /run/uci "$(dirname "/run/$2")"
    cp "$1/config.json" /etc/config
    cp "$1/tessera" /run
    cd /run
    "$1/runt" load "$1/facts.json"
    echo before >"$2"
    chown 1:1 "$2"
    eval "$3"' sh "$work" "$path" "$@"
}
cp "$bin/runt" "$work"

# When a file of another user is replaced, that user cannot read the new content.
servers='{"auth": {"method": ["radius", "ldap"], "radius": {"server": [{"hostname": "a", "secret": "s"}]},'
servers=$servers' "ldap": {"bind_dn": "b", "bind_password": "s", "server": [{"hostname": "a"}]}}}'
while IFS='|' read -r service path written config; do
  # shellcheck disable=SC2016 # for the inner shell
  on_router "$path" "$config" 'exec 8<"$2"; ./tessera '"$service"' 2>/dev/null || :; cat <&8; stat -c "%u %g %a" '"$written" \
    >"$work/seen"
  [ "$(cat "$work/seen")" = "before
0 0 600" ] || fail "others read $written: $(cat "$work/seen")"
done <<END
network|userpass_c.cfg|userpass_c.cfg|{"vpn": {"openvpn": {"client": {"c": {"enable": true, "username": "u", "password": "p"}}}}}
pam|pam.conf|pam.conf|$servers
pam|radius.conf|radius.conf|$servers
pam|ldap.conf|ldap.conf|$servers
ipsec|ipsec.secrets|ipsec.secrets|$tunnel
ipsec|ipsec.d.new/secrets/t12345.secret|ipsec.d/secrets/t12345.secret|$tunnel
END

# An ordinary user who runs tessera can neither read its memory nor dump it: root owns its files in /proc. The run waits
# for its configuration during the test.
# shellcheck disable=SC2016 # for the inner shell
on_router unused '' '
  rm /etc/config/config.json
  mkfifo -m 666 /etc/config/config.json
  ulimit -c unlimited
  setpriv --reuid 1 --regid 1 --clear-groups ./tessera pam &
  exec 8>/etc/config/config.json
  stat -c %u /proc/$!/environ
  grep -c "^Max core file size  *0  *0 " /proc/$!/limits || :
  kill $!' >"$work/seen"
[ "$(cat "$work/seen")" = "0
1" ] || fail "its memory can be read: $(cat "$work/seen")"

# A pipe in place of the configuration may be slow as long as it goes on giving data.
on_router unused '' '
  rm /etc/config/config.json
  mkfifo /etc/config/config.json
  (printf "{"; sleep 6; printf " "; sleep 6; printf "}") >/etc/config/config.json &
  ./tessera pam
  test -s /var/run/pam.conf' || fail "a slow pipe is refused"
