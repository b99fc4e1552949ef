#!/bin/sh
# Without the name of a service, tessera explains itself and fails: entry.sh TESSERA_PROGRAM
set -u
output=$("$1" 2>&1 >/dev/null; echo "status $?")
expected='Usage: tessera <name>
status 1'
[ "$output" = "$expected" ] || { echo "unexpected: $output"; exit 1; }
[ -z "$("$1" 2>/dev/null)" ] || { echo "unexpected standard output"; exit 1; }
