#!/bin/bash
# Tests what the completion offers for incomplete command lines.
#
#   completion.sh BIN_DIRECTORY COMPLETION
set -u
PATH=$1:$PATH
# shellcheck source=tools/completion.sh
. "$2"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
touch config.json
mkdir old
failures=0

# Replaces the shell's compopt, which needs a running readline. "files:" marks words that are offered as files.
# shellcheck disable=SC2317 # the completion calls it
compopt() { [[ $* != '-o filenames' ]] || kind=files:; }

# offers "WORDS" EXPECTED...: calls the completion as readline does; it completes the last word.
offers() {
  kind=
  COMP_WORDS=()
  read -ra COMP_WORDS <<<"${1//=/ = }"
  [[ $1 == *[\ =] ]] && COMP_WORDS+=('')
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  "$(complete -p "${COMP_WORDS[0]}" | sed 's/.*-F \([a-z_]*\).*/\1/')" "${COMP_WORDS[0]}"
  offered=${kind:+$kind }${COMPREPLY[*]}
  [[ $offered == "${*:2}" ]] || {
    echo "$1: offers '$offered', expected '${*:2}'"
    failures=1
  }
}

offers 'tessera ' dnsmasq ipsec network pam
offers 'tessera network -' -p --device
offers 'tessera pam '
offers 'runt d' delete dump
offers 'runt load c' files: config.json
offers 'tessera-config ' check get rename schema set unset --help
offers 'tessera-config check ' files: config.json old
offers 'tessera-config check --fo' --format=
offers 'tessera-config check --format=s' sarif
offers 'tessera-config check --facts=c' files: config.json
offers 'tessera-config schema ' --strict
offers 'tessera-config set --c' --create
offers 'tessera-config set c' files: config.json
printf '{"network": {"interface": {"lan": {}, "wan": {}}}}' >config.json
offers 'tessera-config get config.json network.interface.' network.interface.lan network.interface.wan
offers 'tessera-config unset -n config.json system.f' system.fips
offers 'tessera-config set config.json system.fips t'
offers 'tessera-preview --col' --color
offers 'tessera-apply c' files: config.json confirm
offers 'tessera-apply plan c' files: config.json
offers 'tessera-apply plan config.json i' ipsec
offers 'tessera-apply config.json --con' --confirm
offers 'tessera-explain --un' --unused
offers 'tessera-explain -f ' files: old
offers 'tessera-preview --color=a' auto always
offers 'tessera-preview -c c' files: config.json
offers 'tessera-preview --diff=' files: old
offers 'tessera-preview -c config.json i' ipsec
offers 'tessera-preview --verify --diff=old ' all dnsmasq ipsec network pam
offers 'tessera-preview ipsec,' ipsec,dnsmasq ipsec,network ipsec,pam
offers 'tessera-preview --summary pam,ipsec,n' pam,ipsec,network
offers 'tessera-preview -d old network ' -p --device
offers 'tessera-preview dnsmasq '
if complete -p | grep 'filenames.*tessera'; then failures=1; fi
# Replaces runt, so that the test does not read the machine's store.
# shellcheck disable=SC2317 # the completion calls it
runt() {
  case $*: in
    keys:) printf 'network\nvpn\n' ;;
    'keys network.lan:') printf 'ipv4\nipv6\nmtu\n' ;;
  esac
}
offers 'runt get n' network
offers 'runt keys network.lan.ipv' network.lan.ipv4 network.lan.ipv6
exit $failures
