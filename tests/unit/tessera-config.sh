#!/bin/sh
# The program tessera-config as a person or a pipeline calls it: what it prints where, and its exit status.
set -u
program=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failed=0

# expect NAME STATUS OUTPUT ERRORS ARGS...
expect() {
  name=$1 status=$2 output=$3 errors=$4
  shift 4
  "$program" "$@" >out 2>err
  got=$?
  [ "$got" = "$status" ] || { echo "$name: exit status $got, expected $status"; failed=1; }
  printf '%s' "$output" | diff -u - out || { echo "$name: output differs"; failed=1; }
  printf '%s' "$errors" | diff -u - err || { echo "$name: errors differ"; failed=1; }
}

usage='Usage: tessera-config check FILE
       tessera-config schema [--strict]
'
expect "no command" 2 '' "$usage"
expect "check without a file" 2 '' "$usage" check
expect "check with two files" 2 '' "$usage" check a b
expect "unknown command" 2 '' "tessera-config: 'chekc' is no command
$usage" chekc all.json
expect "unknown option" 2 '' "$usage" schema --lax
expect "no such file" 1 'absent.json: error: cannot be opened: No such file or directory
' '' check absent.json

echo '{"system": {"name": "gw"}}' >sound.json
expect "nothing to say" 0 '' '' check sound.json

# Findings of the loader and of the model, of every grade, in the order of the file.
cat >all.json <<'END'
{
  "network": {
    "vlan": {"v": {"device": "/network/device/none", "id": 5}},
    "device": {"eth0": {"type": "ethernet", "nmae": "e"}},
    "interface": {"lan": {"type": "ethernet", "device": "/network/device/eth0", "enable": true, "metric": "low",
                          "ipv4": {"enable": true, "type": "statik"}}}
  },
  "auth": {"method": null}
}
END
expect "every grade" 1 'all.json:3:30: warning: network.vlan.v.device: '\''/network/device/none'\'' names no device, it counts as unset
all.json:4:45: warning: network.device.eth0.nmae: unknown key, did you mean '\''name'\''?
all.json:5:107: error: network.interface.lan.metric: expected an integer, found a text
all.json:6:60: warning: network.interface.lan.ipv4.type: unknown ipv4 type '\''statik'\'', expected one of: static dhcp hybrid; it is left out
all.json:8:22: error: auth.method: null is not allowed, leave the key out instead
' '' check all.json
sed 's/"low"/7/; s/null/[]/; s/"statik"/"static"/' all.json >warned.json
"$program" check warned.json >out 2>err || { echo "warnings alone: exit status $?"; failed=1; }
grep -q ': warning: ' out || { echo "warnings alone: none printed"; failed=1; }
grep -q ': error: ' out && { echo "warnings alone: an error printed"; failed=1; }

"$program" --help | grep -q 'Exit status' || { echo "--help explains no exit status"; failed=1; }
for strict in '' --strict; do
  # shellcheck disable=SC2086 # no argument at all when it is empty
  [ "$("$program" schema $strict | jq -r '.properties.network.properties.vlan.type')" = object ] || {
    echo "schema $strict: not JSON, or without keys"; failed=1
  }
done
"$program" schema 2>err >/dev/full && { echo "a full disk goes unnoticed"; failed=1; }
[ -s err ] || { echo "a full disk goes unreported"; failed=1; }
exit $failed
