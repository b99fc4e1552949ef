#!/bin/bash
# The real PAM library reads the generated rules. Tests the order of the modules, their arguments and the effect of the
# controls, with a module that records its calls in place of the device's own modules; then the real RADIUS module with a
# real server.
# Usage: pam.sh BIN_DIR RECORDING_MODULE
set -eu
# shellcheck source=tests/daemons/router.sh
. "${0%/*}/router.sh"
RECORD=$2
exec </dev/null

modules=$(dirname "$(find /usr/lib -path '*/security/pam_deny.so' | head -n 1)")
cp "$modules/pam_radius_auth.so" /run/real_pam_radius_auth.so
for name in acc token_decrypt google_authenticator radius_auth ldap tacplus group_alias; do
  cp "$RECORD" "$modules/pam_$name.so"
done
rm -rf /etc/pam.d /usr/lib/pam.d  # otherwise the library does not read /etc/pam.conf
ln -sf /var/run/pam.conf /etc/pam.conf
mkdir /run/pam-verdict
user=$(id -un)
auth_err=7
authinfo_unavail=9

# configure AUTH_OBJECT: writes the rules for an `auth` object.
configure() {
  printf '{"auth": %s}' "$1" >/etc/config/config.json
  "$BIN/tessera" pam || fail "tessera pam ended with $?"
}

# verdict MODULE.TYPE NUMBER: sets the answer of a recording module.
verdict() { echo "$2" >"/run/pam-verdict/pam_$1"; }

# answer SERVICE OPERATION: prints "yes" or "no" and leaves the record of the device's modules in /run/pam.log.
answer() {
  rm -f /run/pam.log
  if pamtester "$1" "$user" "$2" >/run/pamtester.log 2>&1; then echo yes; else echo no; fi
}

# attempt WHAT EXPECTED SERVICE OPERATION: compares the answer and the names of the modules that were called.
attempt() {
  expect "$1" "$(answer "$3" "$4") $(sed 's/ .*//; s/\.so$//; s/^pam_//' /run/pam.log 2>/dev/null | paste -sd' ')" "$2"
}

configure_servers() { # AUTHORITATIVE
  configure "{\"method\": [\"radius\", \"tacacs+\", \"local\"],
    \"radius\": {\"nas_id\": \"branch\", \"authoritative\": $1, \"server\": [
      {\"hostname\": \"127.0.0.1\", \"port\": 1812, \"secret\": \"s\", \"timeout\": 2}]},
    \"tacacs+\": {\"service\": \"ppp\", \"group_attribute\": \"groups\", \"server\": [
      {\"hostname\": \"10.0.0.1\", \"port\": 49, \"secret\": \"a ]b c\"},
      {\"hostname\": \"10.0.0.2\", \"port\": 50, \"secret\": \"x\"}]}}"
}
servers_in_order='|server=10.0.0.1:49|secret=a ]b c|server=10.0.0.2:50|secret=x'

# Only local users: success ends the stack before pam_deny at its end, any other answer reaches pam_deny.
configure '{}'
attempt "local login" "yes acc" sshd authenticate
expect "local login calls" "$(cat /run/pam.log)" "pam_acc.so auth|admin|-o|shell|-o|serial"
attempt "local account" "yes acc" sshd acct_mgmt
verdict acc.so.auth $auth_err
attempt "local refusal" "no acc" httpd_login authenticate
attempt "a service without a stack" "no " unheard_of authenticate
rm /run/pam-verdict/*
attempt "other is refused" "no " other authenticate
attempt "tunnel user" "yes acc" openvpn authenticate

# The stacks of the example routers.
for example in "$SOURCE"/examples/*/config.json; do
  configure "$(jq '.auth // {}' "$example")"
  expect "$example" "$(answer sshd authenticate) $(answer httpd acct_mgmt) $(answer other authenticate)" "yes yes no"
done

# Not authoritative: unless a server accepts the user, the next method is asked.
configure_servers false
verdict radius_auth.so.auth $auth_err
verdict tacplus.so.auth $authinfo_unavail
attempt "fall through to local" "yes radius_auth tacplus acc" sshd authenticate
expect "RADIUS arguments" "$(head -n 1 /run/pam.log)" \
  "pam_radius_auth.so auth|try_first_pass|localifdown|client_id=branch|conf=/var/run/radius.conf"
expect "bracketed secrets arrive whole" "$(sed -n 2p /run/pam.log)" \
  "pam_tacplus.so auth|debug|try_first_pass|login=pap|prompt=Password:_$servers_in_order"
verdict radius_auth.so.auth 0
attempt "RADIUS accepts, which ends the stack" "yes radius_auth" httpd_login authenticate
attempt "the alias follows the account of a RADIUS user" "yes radius_auth group_alias" sshd acct_mgmt
verdict radius_auth.so.account $auth_err
verdict tacplus.so.account $auth_err
attempt "an account unknown to servers skips the alias" "yes radius_auth tacplus acc" sshd acct_mgmt
rm /run/pam-verdict/*
attempt "command session" "yes tacplus acc" cli open_session
expect "command session arguments" "$(head -n 1 /run/pam.log)" \
  "pam_tacplus.so session|debug|try_first_pass|login=pap|service=cli|protocol=unknown$servers_in_order"

# Authoritative: a refusal is final, a server that cannot be reached is not.
configure_servers true
verdict radius_auth.so.auth $auth_err
attempt "authoritative refusal" "no radius_auth" openvpn authenticate
verdict radius_auth.so.auth $authinfo_unavail
verdict tacplus.so.auth $authinfo_unavail
attempt "server out of reach" "yes radius_auth tacplus acc" sshd authenticate
rm /run/pam-verdict/*

# Two factors: the code is asked first, and a wrong code makes the whole stack fail.
configure '{"user": {"admin": {"2fa": {"enable": true}}}, "idle_timeout": 900}'
verdict google_authenticator.so.auth $auth_err
verdict token_decrypt.so.auth 25
attempt "wrong code" "no google_authenticator acc" sshd authenticate
attempt "web token without verdict goes on to local" "yes token_decrypt acc" httpd authenticate
expect "idle seconds reach the token module" "$(head -n 1 /run/pam.log)" "pam_token_decrypt.so auth|900"
verdict token_decrypt.so.auth $auth_err
attempt "bad token" "no token_decrypt" httpd authenticate
rm /run/pam-verdict/*

# A real RADIUS server and module. The module knows no escapes: the backslash before "]" becomes part of the secret.
cp /run/real_pam_radius_auth.so "$modules/pam_radius_auth.so"
secret='t!$%&()*+,-./:;<=>?@[]^_`{|}~'
configure "{\"method\": [\"radius\"], \"radius\": {\"authoritative\": true, \"nas_id\": \"branch\", \"server\":
  [{\"hostname\": \"127.0.0.1\", \"port\": 1812, \"secret\": \"$secret\", \"timeout\": 3}]}}"
mkdir /run/radius
echo "\$INCLUDE /usr/share/freeradius/dictionary" >/run/radius/dictionary
cat >/run/radius/radiusd.conf <<RADIUS
prefix = /usr
logdir = /run/radius
run_dir = /run/radius
libdir = $(dirname "$(find /usr/lib/freeradius -name 'rlm_files.so' | head -n 1)")
max_requests = 256
security {
  allow_vulnerable_openssl = yes
}
client loopback {
  ipaddr = 127.0.0.1
  secret = '${secret/]/\\]}'
}
modules {
  files {
    filename = /run/radius/users
  }
}
server default {
  listen {
    type = auth
    ipaddr = 127.0.0.1
    port = 1812
  }
  authorize {
    files
  }
}
RADIUS
printf '%s User-Password == "right", Auth-Type := Accept\n' "$user" >/run/radius/users
start freeradius freeradius -f -l stdout -d /run/radius -n radiusd
wait_for 15 grep -q 'Ready to process' /run/freeradius.log || fail "no RADIUS server: $(cat /run/freeradius.log)"
expect "RADIUS accepts the right password" "$(echo right | answer sshd authenticate)" yes
expect "RADIUS rejects a wrong password" "$(echo wrong | answer sshd authenticate)" no
