#!/bin/sh
# Shows every file of an example router, or only those of SERVICES, and what to do next:
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
"$preview" "$@" "$services"
cat <<END

These were all files; nothing has changed on this machine. What to do next:

  export PATH="\$PWD/$(dirname "$preview"):\$PATH"
  less $example/README.md                   which settings the lines come from
  tessera-explain $* dnsmasq.conf
                                            the same for every line of a file
  less +/'Your own configuration' README.md  a router of your own
END
