#!/bin/sh
# What a run finds that came before it: another run, and files of other users.
#
#   runs.sh BIN_DIRECTORY
set -eu
bin=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tessera=/.host$bin/tessera # where a preview reaches the machine's files

# Previews SERVICE for the configuration CONFIG with the commands that come on standard input in the place of tessera.
preview() {
  { echo '#!/bin/sh' && echo 'set -eu' && cat; } >"$work/commands"
  chmod +x "$work/commands"
  echo "$2" >"$work/config.json"
  rm -rf "$work/out"
  "$bin/tessera-preview" -c "$work/config.json" --tessera "$work/commands" -o "$work/out" "$1"
}

fail() {
  echo "runs.sh: $*" >&2
  exit 1
}

# A run that has waited writes the configuration that is valid then.
while read -r service path config; do
  preview "$service" "$config" <<END
exec 9>/var/run/tessera-$service.lock
flock 9
$tessera $service 9>&- &
sleep 0.5
sed -i s/12345/67890/ /etc/config/config.json
rm /var/run/tessera-$service.lock
exec 9>&-
wait
END
  grep -q 67890 "$work/out/var/run/$path" || fail "$service writes an older configuration"
  [ ! -e "$work/out/var/run/tessera-$service.lock" ] || fail "$service leaves its lock"
done <<'END'
pam pam.conf {"auth": {"idle_timeout": 12345}}
dnsmasq dnsmasq.conf {"service": {"dns": {"host": [{"name": "host12345"}]}}}
network uci/network {"network": {"advanced": {"ula_prefix": "fd00:12345::/48"}}}
END

# Nobody else can read what is written into a file that was another user's.
[ "$(id -u)" -eq 0 ] || exit 0
preview network '{"vpn": {"openvpn": {"client": {"c": {"enable": true, "username": "u", "password": "p"}}}}}' <<END
cd /var/run
echo before >userpass_c.cfg
chown 1:1 userpass_c.cfg
exec 8<userpass_c.cfg
$tessera network
cat <&8 >seen
stat -c '%u %g %a' userpass_c.cfg >>seen
END
[ "$(cat "$work/out/var/run/seen")" = "before
0 0 600" ] || fail "others read secrets: $(cat "$work/out/var/run/seen")"
