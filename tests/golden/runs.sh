#!/bin/sh
# What a run finds that came before it, another run and files of other users, and how tessera answers command lines.
#
#   runs.sh BIN_DIRECTORY
set -eu
bin=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
devices=$(realpath "${0%/*}")/network-devices/config.json
cp "$bin/tessera" "$work" # a preview reaches what is beside the program that it is given

# Previews SERVICE for the configuration CONFIG with the commands that come on standard input in the place of tessera.
preview() {
  { echo '#!/bin/sh' && echo 'set -eu' && echo "tessera=\$(dirname \"\$0\")/tessera" && cat; } >"$work/commands"
  chmod +x "$work/commands"
  echo "$2" >"$work/config.json"
  rm -rf "$work/out"
  "$bin/tessera-preview" -c "$work/config.json" --tessera "$work/commands" -o "$work/out" "$1"
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

# Without the store, the rest is written.
preview network '{"network": {"advanced": {"ula_prefix": "fd00::/48"}}}' 2>"$work/stderr" <<'END'
mkdir -p /var/run/kept
mv /var/run/runt /var/run/kept/ 2>/dev/null || :
: >/var/run/runt
$tessera network
rm /var/run/runt
mv /var/run/kept/runt /var/run/ 2>/dev/null || :
END
grep -q '^tessera_network: failed to initialize runt interface$' "$work/stderr" || fail "no word of a missing store"
grep -q fd00:: "$work/out/var/run/uci/network" || fail "nothing is written without the store"

# A run that has waited writes the configuration that is valid then.
while read -r service path config; do
  preview "$service" "$config" <<END
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
done <<'END'
pam pam.conf {"auth": {"idle_timeout": 12345}}
dnsmasq dnsmasq.conf {"service": {"dns": {"host": [{"name": "host12345"}]}}}
network uci/network {"network": {"advanced": {"ula_prefix": "fd00:12345::/48"}}}
END

# Nobody else can read what is written into a file that was another user's.
[ "$(id -u)" -eq 0 ] || exit 0
echo '{"vpn": {"openvpn": {"client": {"c": {"enable": true, "username": "u", "password": "p"}}}}}' >"$work/config.json"
# shellcheck disable=SC2016 # for the inner shell
unshare -m sh -ec '
  for path in /etc /run; do mount -t tmpfs none $path; done
  mkdir /etc/config
  cp "$2" /etc/config/config.json
  cd /run
  mkdir uci
  echo before >userpass_c.cfg
  chown 1:1 userpass_c.cfg
  exec 8<userpass_c.cfg
  "$1" network
  cat <&8
  stat -c "%u %g %a" userpass_c.cfg' sh "$work/tessera" "$work/config.json" >"$work/seen"
[ "$(cat "$work/seen")" = "before
0 0 600" ] || fail "others read secrets: $(cat "$work/seen")"
