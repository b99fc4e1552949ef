#!/bin/bash
# Brings up real OpenVPN tunnels between two network namespaces with the files that tessera writes: every kind of server,
# generated and uploaded clients, and the client templates after their placeholders are filled in.
# Usage: openvpn.sh BIN_DIR
set -eu
# shellcheck source=tests/daemons/router.sh
. "${0%/*}/router.sh"
mkdir -p /run/keys /usr/lib/netifd /etc/ssl/certs
hostname gateway
cd /run/keys
underlay=172.31.0 # .1 is the servers' end, .2 the clients'
username=road.warrior
password="p w'\"\\%s\$x" # all special characters that OpenVPN allows in a password

# Scripts in place of the router's: each records its environment, the first also installs the pushed routes, and the last
# accepts exactly one user.
cat >/usr/lib/netifd/openvpn-up <<'UP'
#!/bin/sh
env >"/run/up.$dev"
[ -z "${route_network_1-}" ] || ip route replace "$route_network_1" dev "$dev"
UP
printf '#!/bin/sh\nexit 0\n' >/usr/lib/netifd/openvpn-down
cat >/usr/bin/client_updown <<'UPDOWN'
#!/bin/sh
echo "$script_type $common_name ${ifconfig_pool_remote_ip-}" >>"/run/client_updown.$dev"
UPDOWN
cat >/usr/bin/openvpn_password <<'PASSWORD'
#!/bin/sh
[ "$username
$password" = "$(cat /run/credentials)" ]
PASSWORD
chmod 755 /usr/lib/netifd/* /usr/bin/client_updown /usr/bin/openvpn_password
printf '%s\n%s\n' "$username" "$password" >/run/credentials

certificate() { # NAME EXTENSION...
  name=$1
  shift
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -noenc -days 2 -subj "/CN=$name" \
    -keyout "$name.key" -out "$name.crt" "$@" 2>/dev/null
}

certificate ca -addext keyUsage=keyCertSign
# Two clients of one server need different names.
for holder in server:serverAuth client:clientAuth user:clientAuth; do
  certificate "${holder%:*}" -CA ca.crt -CAkey ca.key -addext basicConstraints=CA:FALSE \
    -addext keyUsage=digitalSignature -addext "extendedKeyUsage=${holder#*:}"
done
openssl genpkey -genparam -algorithm DH -pkeyopt group:ffdhe2048 -out /etc/ssl/certs/dh2048.pem 2>/dev/null
cp ca.crt server.crt server.key /etc/ssl/certs

cat >uploaded.conf <<UPLOADED
client
dev tun
proto tcp-client
remote $underlay.1 1195

nobind
up /home/user/up.sh
ca ca.crt
cert user.crt
key user.key
auth-user-pass credentials.txt
remote-cert-tls server
data-ciphers AES-256-GCM
<ca>
$(cat ca.crt)
</ca>
<cert>
$(cat client.crt)
</cert>
<key>
$(cat client.key)
</key>
UPLOADED
jq -n --arg host "$underlay.1" --arg username "$username" --arg password "$password" --rawfile ca ca.crt \
  --rawfile server_cert server.crt --rawfile server_key server.key --rawfile client_cert client.crt \
  --rawfile client_key client.key --rawfile dh /etc/ssl/certs/dh2048.pem --rawfile uploaded uploaded.conf '
  def pool: {server_first_ip: 10, server_last_ip: 50};
  {vpn: {openvpn: {
    server: ({
      subnet: ({device_type: "tap", protocol: ["udp"], port: 1194, server_address: "192.168.5.1/24",
                authentication: "both"} + pool),
      ptp: ({device_type: "tun", protocol: ["tcp-server"], port: 1195, server_address: "10.8.0.1/24",
             authentication: "cert", advanced_options: {enable: true, extra: "--verb 4 --mute 10"}} + pool),
      bridged: {device_type: "tap_bridge", protocol: ["udp"], port: 1196, autogenerate: true},
      dialup: ({device_type: "tun", protocol: ["udp"], port: 1197, server_address: "10.9.0.1/24",
                authentication: "passwd"} + pool)}
      | map_values({enable: true, cacert: $ca, server_cert: $server_cert, server_key: $server_key, diffie: $dh} + .)),
    client: ({
      tapclient: {device_type: "tap", port: 1194, public_cert: $client_cert, private_key: $client_key},
      tunclient: {device_type: "tun", port: 1197},
      intruder: {device_type: "tun", port: 1197, password: "guess"},
      uploaded: {use_file: true, config_file: $uploaded},
      numbered: {use_file: true, config_file: ($uploaded | sub("dev tun"; "dev tun0"))}}
      | map_values({enable: true, server: $host, username: $username, password: $password, cacert: $ca} + .))}}}
  ' >/etc/config/config.json
"$BIN/tessera" network || fail "tessera failed"

ip netns add clients
on_client() { ip netns exec clients "$@"; }
ip link add under_server type veth peer name under_client netns clients
ip addr add "$underlay.1/24" dev under_server
ip link set under_server up
on_client ip addr add "$underlay.2/24" dev under_client
on_client ip link set under_client up

# The client template of server $1, completed as by a user.
filled_template() {
  sed -e "s|<server address>|$underlay.1|; s|<public key file>|/run/keys/user.crt|" \
    -e "s|<private key file>|/run/keys/user.key|; s|^auth-user-pass\$|& /run/credentials|" \
    "/run/openvpn/gateway-$1.ovpn" >"/run/keys/$1.ovpn"
  ! grep -v '^#' "/run/keys/$1.ovpn" | grep -q '<[a-z]* [a-z ]*>' || fail "a placeholder is left in /run/keys/$1.ovpn"
}

await() { # NAME TEXT
  wait_for 30 grep -qF "$2" "/run/$1.log" || fail "$1 did not print '$2': $(cat "/run/$1.log")"
}

for server in subnet ptp bridged dialup; do
  start "$server" openvpn --config "/run/config_file_server_$server"
done
for server in subnet ptp bridged dialup; do await "$server" "Initialization Sequence Completed"; done
start_client() {
  # The interface manager names the device on the command line.
  start "$1" on_client openvpn --config "/run/config_file_$1" --dev "$1"
}
# tessera writes the device of an uploaded file as device type, but this OpenVPN knows no type with a number.
start_client numbered
await numbered "problem with tun vs. tap setting"
for client in tapclient tunclient uploaded intruder; do start_client "$client"; done
for server in subnet bridged; do
  filled_template "$server"
  start "template_$server" on_client openvpn --config "/run/keys/$server.ovpn" --dev "over_$server" --dev-type tap
done
for client in tapclient tunclient uploaded template_subnet template_bridged; do
  await "$client" "Initialization Sequence Completed"
done
await intruder AUTH_FAILED

# The route of a subnet server has no gateway, so this OpenVPN leaves it out; the network of the device includes it.
await subnet "needs a gateway parameter for a --route option"
await ptp "NOTE: --mute triggered"

# A bridged client gets its address from the network behind the bridge.
ip addr add 192.168.7.1/24 dev bridged
on_client ip addr add 192.168.7.2/24 dev over_bridged
on_client ip link set over_bridged up
ip link set bridged up

for way in tapclient:192.168.5.1 over_subnet:192.168.5.1 uploaded:10.8.0.1 tunclient:10.9.0.1 \
  over_bridged:192.168.7.1; do
  on_client busybox ping -q -c 1 -w 10 -I "${way%:*}" "${way#*:}" >/run/ping || fail "no connection through $way"
done

for client in tapclient tunclient uploaded; do
  [ -s "/run/up.$client" ] || fail "the interface manager was not called for $client"
done
for connection in subnet:client subnet:user ptp:client; do
  grep -q "^client-connect ${connection#*:} " "/run/client_updown.${connection%:*}" || fail "client_updown was not called for $connection"
done
