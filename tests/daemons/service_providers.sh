#!/bin/sh
# Reads a service-providers file back as the modem manager does, with a shell: every field gives the configured value.
#
#   service_providers.sh TESSERA_PREVIEW DIRECTORY INTERFACE
# DIRECTORY holds config.json and runtime.json.
set -eu
preview=$1
config=$2/config.json
interface=$3
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
"$preview" -c "$config" -r "$2/runtime.json" -o "$out" network

index=0
while IFS= read -r line; do
  # The fields are assignments.
  read_back=$(
    eval "${line#*,internet,}"
    # shellcheck disable=SC2154 # assigned by the line
    printf '%s|' "$ip_version" "$auth" "$username" "$password" "$attm2mglobal" "$match_carrier" "$match_plmn" "${cid-0}"
  )
  configured=$(jq -r --arg interface "$interface" --argjson index "$index" '
    .network.interface[$interface].modem.apn[$index] |
    (if (.match_carrier // "") == "" then "any"
     elif .match_carrier == "other" then .match_carrier_other // "other" else .match_carrier end) as $carrier |
    [.ip_version, .auth, .username, .password, (if .attm2mglobal then 1 else 0 end), $carrier, .match_plmn, .cid // 0]
    | map("\(. // "")|") | join("")' "$config")
  if [ "$read_back" != "$configured" ]; then
    echo "entry $index reads as $read_back, configured is $configured" >&2
    exit 1
  fi
  index=$((index + 1))
done <"$out/var/run/serviceproviders-$interface.txt"

expected=$(jq --arg interface "$interface" '.network.interface[$interface].modem.apn | length' "$config")
if [ "$index" -ne "$expected" ]; then
  echo "$index entries of $expected" >&2
  exit 1
fi
