#!/bin/sh
# Shows every file that services of an example router get, all of them unless some are named:
# show-example.sh PREVIEW_PROGRAM EXAMPLE_DIRECTORY [SERVICES]
set -eu
preview=$1
example=$2
services=${3-all}
set -- -c "$example/config.json"
[ ! -f "$example/runtime.json" ] || set -- "$@" -r "$example/runtime.json"
[ ! -d "$example/rootfs" ] || set -- "$@" -f "$example/rootfs"

echo "The files that tessera writes for the router $example/config.json"
echo
exec "$preview" "$@" "$services"
