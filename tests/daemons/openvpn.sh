#!/bin/sh
# Brings up real OpenVPN tunnels between two network namespaces from the files that tessera writes: every kind of
# server, generated and uploaded clients, and the client templates once their placeholders are filled.
#
#   openvpn.sh TESSERA_PROGRAM
set -eu

if [ "$1" != --inside ]; then
  scratch=$(mktemp -d)
  trap 'rmdir "$scratch"' EXIT
  unshare -m -n -u -p -f --kill-child --mount-proc "$0" --inside "$1" "$scratch"
  exit
fi
tessera=$2
scratch=$3
underlay=172.31.0 # .1 is the servers' end, .2 the clients'
username=road.warrior
password="p w'\"\\%s\$x" # as awkward as OpenVPN lets a password be

fail() {
  echo "openvpn: $1" >&2
  [ -z "${2-}" ] || cat "$2" >&2
  exit 1
}

private_file_system() {
  mount -t tmpfs tmpfs "$scratch"
  for tree in usr etc; do
    mkdir "$scratch/$tree" "$scratch/$tree.work"
    mount -t overlay overlay -o "lowerdir=/$tree,upperdir=$scratch/$tree,workdir=$scratch/$tree.work" "/$tree"
  done
  mount -t tmpfs tmpfs /run
  mkdir -p /run/uci /run/log /etc/config /usr/lib/netifd /etc/ssl/certs
  hostname gateway
}

# Stands for what the router brings: each script notes its environment, the first also installs the pushed routes, and
# the last lets exactly one user in.
device_scripts() {
  cat >/usr/lib/netifd/openvpn-up <<'UP'
#!/bin/sh
env >"/run/log/up.$dev"
[ -z "${route_network_1-}" ] || ip route replace "$route_network_1" dev "$dev"
UP
  printf '#!/bin/sh\nexit 0\n' >/usr/lib/netifd/openvpn-down
  cat >/usr/bin/client_updown <<'UPDOWN'
#!/bin/sh
echo "$script_type $common_name ${ifconfig_pool_remote_ip-}" >>"/run/log/client_updown.$dev"
UPDOWN
  cat >/usr/bin/openvpn_password <<'PASSWORD'
#!/bin/sh
[ "$username
$password" = "$(cat /run/log/credentials)" ]
PASSWORD
  chmod 755 /usr/lib/netifd/* /usr/bin/client_updown /usr/bin/openvpn_password
  printf '%s\n%s\n' "$username" "$password" >/run/log/credentials
}

certificate() { # NAME EXTENSION...
  name=$1
  shift
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -noenc -days 2 -subj "/CN=$name" \
    -keyout "$scratch/$name.key" -out "$scratch/$name.crt" "$@" 2>/dev/null
}

certificates() {
  certificate ca -addext keyUsage=keyCertSign
  # Two clients of one server need a name each.
  for holder in server:serverAuth client:clientAuth user:clientAuth; do
    certificate "${holder%:*}" -CA "$scratch/ca.crt" -CAkey "$scratch/ca.key" -addext basicConstraints=CA:FALSE \
      -addext keyUsage=digitalSignature -addext "extendedKeyUsage=${holder#*:}"
  done
  openssl genpkey -genparam -algorithm DH -pkeyopt group:ffdhe2048 -out /etc/ssl/certs/dh2048.pem 2>/dev/null
  cp "$scratch/ca.crt" "$scratch/server.crt" "$scratch/server.key" /etc/ssl/certs
}

write_configuration() {
  cd "$scratch"
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
  "$tessera" network || fail "tessera failed"
}

two_networks() {
  unshare -n sleep 600 &
  client_network=$!
  # Another namespace than ours once unshare has done its work.
  while [ "$(readlink "/proc/$client_network/ns/net")" = "$(readlink /proc/self/ns/net)" ]; do sleep 0.05; done
  ip link add under_server type veth peer name under_client netns "$client_network"
  ip addr add "$underlay.1/24" dev under_server
  ip link set under_server up
  on_client ip addr add "$underlay.2/24" dev under_client
  on_client ip link set under_client up
}

on_client() {
  nsenter -t "$client_network" -n "$@"
}

# The client template of server $1 as a user completes it.
filled_template() {
  sed -e "s|<server address>|$underlay.1|; s|<public key file>|$scratch/user.crt|" \
    -e "s|<private key file>|$scratch/user.key|; s|^auth-user-pass\$|& /run/log/credentials|" \
    "/run/openvpn/gateway-$1.ovpn" >"$scratch/$1.ovpn"
  ! grep -v '^#' "$scratch/$1.ovpn" | grep -q '<[a-z]* [a-z ]*>' || fail "a placeholder is left" "$scratch/$1.ovpn"
}

await() { # NAME TEXT
  tries=300
  until grep -qF "$2" "/run/log/$1" 2>/dev/null; do
    tries=$((tries - 1))
    [ "$tries" -gt 0 ] || fail "$1 never said '$2'" "/run/log/$1"
    sleep 0.1
  done
}

private_file_system
device_scripts
certificates
write_configuration
two_networks

start() { # NAME COMMAND...
  name=$1
  shift
  "$@" --log "/run/log/$name" &
}
for server in subnet ptp bridged dialup; do
  start "$server" openvpn --config "/run/config_file_server_$server"
done
for server in subnet ptp bridged dialup; do await "$server" "Initialization Sequence Completed"; done
start_client() {
  # The interface manager names the device on the command line.
  start "$1" on_client openvpn --config "/run/config_file_$1" --dev "$1"
}
# The device of an uploaded file becomes its device type, but to this OpenVPN a numbered device is no type.
start_client numbered
await numbered "problem with tun vs. tap setting"
for client in tapclient tunclient uploaded intruder; do start_client "$client"; done
for server in subnet bridged; do
  filled_template "$server"
  start "template_$server" on_client openvpn --config "$scratch/$server.ovpn" --dev "over_$server" --dev-type tap
done
for client in tapclient tunclient uploaded template_subnet template_bridged; do
  await "$client" "Initialization Sequence Completed"
done
await intruder AUTH_FAILED

# The route of a subnet server has no gateway, so this OpenVPN leaves it out: the device's own network covers it.
await subnet "needs a gateway parameter for a --route option"
await ptp "NOTE: --mute triggered"

# A bridged client gets its address from beyond the bridge.
ip addr add 192.168.7.1/24 dev bridged
on_client ip addr add 192.168.7.2/24 dev over_bridged
on_client ip link set over_bridged up
ip link set bridged up

for way in tapclient:192.168.5.1 over_subnet:192.168.5.1 uploaded:10.8.0.1 tunclient:10.9.0.1 over_bridged:192.168.7.1; do
  on_client busybox ping -q -c 1 -w 10 -I "${way%:*}" "${way#*:}" >/run/log/ping || fail "no way through $way" /run/log/ping
done

for client in tapclient tunclient uploaded; do
  [ -s "/run/log/up.$client" ] || fail "the interface manager was not told of $client" "/run/log/$client"
done
for connection in subnet:client subnet:user ptp:client; do
  grep -q "^client-connect ${connection#*:} " "/run/log/client_updown.${connection%:*}" || fail "no notice of $connection"
done
