#!/bin/sh
# Shows every file that the services of an example router get: show-example.sh PREVIEW_PROGRAM EXAMPLE_DIRECTORY
set -eu
preview=$1
example=$2
set -- -c "$example/config.json"
[ ! -f "$example/runtime.json" ] || set -- "$@" -r "$example/runtime.json"
[ ! -d "$example/rootfs" ] || set -- "$@" -f "$example/rootfs"

echo "The files that tessera writes for the router $example/config.json"
echo
exec "$preview" "$@" all
