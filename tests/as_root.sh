#!/bin/sh
# Runs a test that needs root: as_root.sh COMMAND...
# An ordinary user becomes root by sudo, which "make test" asks for before it starts.
[ "$(id -u)" -ne 0 ] || exec "$@"
exec sudo -n env "PATH=$PATH" "$@"
