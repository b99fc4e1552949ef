#!/bin/sh
# Tests the manual pages: their markup, and that a page and its program's --help name the same commands and options. Also
# tests that each program reports help that cannot be written.
#
#   manual.sh BIN_DIRECTORY PAGE...
set -u
programs=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mandoc -Tlint -Wwarning "$@"
failed=$?

# Most systems use groff, which reports a table as too wide when mandoc would break its lines.
groff -mdoc -Tutf8 -ww -z "$@" 2>&1 | grep . && failed=1

# The commands of a program and the long options in a text.
named() {
  grep -oE "(^ *(Usage: )?$1 [a-z]+|--[a-z-]+)" | sed 's/Usage://; s/^ *//' | sort -u | grep -vx -e --help -e "$1 options"
}

for page; do
  program=$(basename "$page" .8)
  "$programs/$program" --help >"$work/help" 2>/dev/null
  for option in --help --version; do
    ! "$programs/$program" $option >/dev/full 2>/dev/null || { echo "$program $option hides a full device"; failed=1; }
  done
  [ "$program" != tessera ] || continue # its help names only the services
[ -s "$work/help" ] || continue # the page describes a file, not a program
  named "$program" <"$work/help" >"$work/expected"
  mandoc -Tascii "$page" | sed 's/.\x08//g' | named "$program" | diff -u "$work/expected" - || {
    echo "$page: not what $program --help says"
    failed=1
  }
done
exit "$failed"
