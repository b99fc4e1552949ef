#!/bin/sh
# Runs a test that needs root: as_root.sh COMMAND...
# An ordinary user becomes root with sudo, for which "make test" asks before it starts. PATH then includes root's programs.
[ "$(id -u)" -ne 0 ] || exec "$@"
exec sudo -n env "PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin" "$@"
