#!/bin/sh
# Tests how tessera-config edits a file: what it refuses, which bytes it leaves, and what it prints.
#
#   edit.sh BIN_DIRECTORY
set -u
program=$1/tessera-config
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failed=0

# expect STATUS COMMAND...: runs the command and compares its output with standard input.
expect() {
  status=$1
  shift
  "$@" >out 2>&1 </dev/null
  got=$?
  [ "$got" = "$status" ] || { echo "$*: exit status $got, expected $status"; failed=1; }
  diff -u - out || { echo "$*: other output"; failed=1; }
}
holds() { diff -u - router.json || { echo "$1: other content"; failed=1; }; }

cat >router.json <<'FILE'
{
  "system": {"name": "gateway"},
  "network": {
    "device": {"eth0": {"type": "ethernet"}},
    "interface": {
      "lan": {"type": "ethernet", "device": "/network/device/eth0"}
    }
  },
  "vpn": {"ipsec": {"tunnel": {"a": {}, "b": {"local": {"interface": "lan"}}}}}
}
FILE
cp router.json original.json
lan=network.interface.lan

expect 0 "$program" get router.json $lan.type "$lan" <<'OUT'
ethernet
{"type": "ethernet", "device": "/network/device/eth0"}
OUT
expect 0 "$program" get --json router.json /network/interface/lan/type <<'OUT'
"ethernet"
OUT
expect 0 "$program" get --names router.json network.interface system <<'OUT'
lan
name
fips
OUT
expect 1 "$program" get router.json $lan.mtu network.interface.lna.mtu <<'OUT'
tessera-config: network.interface.lan.mtu: is not set
tessera-config: network.interface.lna: there is no such entry, did you mean 'lan'?
OUT

# A refused edit changes nothing, and neither do the edits before it in the same call.
expect 1 "$program" set router.json $lan.mtu 1400 set network.interface.lna.mtu 1 <<'OUT'
tessera-config: network.interface.lna: there is no such entry, did you mean 'lan'? (--create makes it)
OUT
expect 1 "$program" set --json router.json $lan.mtu 1e9 <<'OUT'
router.json:6:76: error[wrong-type]: network.interface.lan.mtu: expected an integer, found a number with a fraction or exponent; the document is refused, no service gets its files; write a whole number without quotes
tessera-config: router.json is left as it was
OUT
expect 0 "$program" set -n router.json system.name gateway <<'OUT'
OUT
expect 0 "$program" rename -n router.json $lan office <<'OUT'
--- router.json
+++ router.json
@@ -3,8 +3,8 @@
   "network": {
     "device": {"eth0": {"type": "ethernet"}},
     "interface": {
-      "lan": {"type": "ethernet", "device": "/network/device/eth0"}
+      "office": {"type": "ethernet", "device": "/network/device/eth0"}
     }
   },
-  "vpn": {"ipsec": {"tunnel": {"a": {}, "b": {"local": {"interface": "lan"}}}}}
+  "vpn": {"ipsec": {"tunnel": {"a": {}, "b": {"local": {"interface": "office"}}}}}
 }
renamed: 1 key, 0 references, 1 name; facts that may name it: network.interface.lan, network.route.default.metric, vigil.ipv4_interface_lan, vigil.ipv6_interface_lan, mm.map.interface_idx.lan, mm.map.interface_number.lan, hybrid.device, remote_builtin.speedtest.interface
OUT
cmp router.json original.json || failed=1

# A link is followed, and the new file has the mode of the old one.
chmod 640 router.json
ln -s router.json link.json
expect 0 "$program" set link.json $lan.mtu 1400 rename network.device.eth0 eth7 <<'OUT'
renamed: 1 key, 1 reference, 0 names; the device eth0 of the kernel gets the new name
OUT
[ "$(readlink link.json; stat -c %a router.json; ls)" = "router.json
640
link.json
original.json
out
router.json" ] || { echo "another link, mode or file"; failed=1; }
printf '%s\n' '# two edits' 'unset vpn.ipsec.tunnel.a' "set --json $lan.ipv4 {" 'set system.name no' >edits
expect 1 sh -c '"$0" set router.json - <edits' "$program" <<'OUT'
tessera-config: network.interface.lan.ipv4: the value is not JSON
OUT
printf '%s\n' 'unset vpn.ipsec.tunnel.a' "set --json $lan.ipv4 {\"enable\": true}" 'set system.name  my  router' >edits
expect 0 sh -c '"$0" set router.json - <edits 2>/dev/null' "$program" <<'OUT'
vpn.ipsec.tunnel: the tunnels after it get other interface numbers
OUT
holds 'several edits' <<'FILE'
{
  "system": {"name": " my  router"},
  "network": {
    "device": {"eth7": {"type": "ethernet"}},
    "interface": {
      "lan": {"type": "ethernet", "device": "/network/device/eth7", "mtu": 1400, "ipv4": {"enable": true}}
    }
  },
  "vpn": {"ipsec": {"tunnel": {"b": {"local": {"interface": "lan"}}}}}
}
FILE

expect 0 "$program" rename router.json $lan office <<'OUT'
renamed: 1 key, 0 references, 1 name; facts that may name it: network.interface.lan, ... (see -n)
OUT

# Files that cannot be edited.
printf '\357\273\277{}' >marked.json
printf '{"system": {"name": 5}, ' >cut.json
mkfifo pipe.json
ln -s loop.json loop.json
expect 1 "$program" set pipe.json system.name a <<OUT
tessera-config: $work/pipe.json: is not a regular file
OUT
expect 1 "$program" set loop.json system.name a <<'OUT'
tessera-config: loop.json: cannot be opened: Too many levels of symbolic links
OUT
for file in marked.json cut.json; do
  cp $file before
  "$program" set $file system.name a >out 2>&1 && { echo "$file: edited"; failed=1; }
  grep -q "^$file:1:.*error\[" out && cmp $file before || { echo "$file: $(cat out)"; failed=1; }
done
cp router.json before
(ulimit -f 0 && "$program" set router.json system.name b >/dev/null 2>&1) && { echo "a full disk is not noticed"; failed=1; }
cmp router.json before || failed=1
[ -z "$(find . -name 'router.json.*')" ] || { echo "a file is left behind"; failed=1; }
exit $failed
