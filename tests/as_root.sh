#!/bin/sh
# Runs a test that needs root: as_root.sh COMMAND...
# An ordinary user becomes root by sudo, which "make test" asks for before it starts, and finds root's programs then.
[ "$(id -u)" -ne 0 ] || exec "$@"
exec sudo -n env "PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin" "$@"
