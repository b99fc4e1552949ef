#!/bin/sh
# What tessera-config says about each document here, NAME.expected about NAME.json, and how it answers a person or a
# pipeline: what it prints where, and its exit status.
#
#   check.sh BIN_DIRECTORY
set -u
cd "$(dirname "$0")" || exit 1
program=$1/tessera-config
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# expect STATUS ERRORS ARGUMENTS...: the output comes from standard input.
expect() {
  status=$1
  printf '%s' "$2" >"$work/errors"
  shift 2
  "$program" "$@" >"$work/out" 2>"$work/err"
  got=$?
  [ "$got" = "$status" ] || { echo "$*: exit status $got, expected $status"; failed=1; }
  { diff -u - "$work/out" && diff -u "$work/errors" "$work/err"; } || { echo "$*: other output"; failed=1; }
}

for document in *.json; do
  expected=${document%.json}.expected
  if grep -q ': error\[' "$expected"; then status=1; else status=0; fi
  expect "$status" '' check "$document" <"$expected"
done

usage='Usage: tessera-config check FILE
       tessera-config schema [--strict]
       tessera-config get [--json | --names] FILE PATH...
       tessera-config set [-n] [--create] [--json] FILE PATH VALUE [EDIT...]
       tessera-config unset [-n] FILE PATH [EDIT...]
       tessera-config rename [-n] FILE PATH NAME [EDIT...]
       tessera-config set [-n] FILE -
       tessera-config --help | --version
'
for arguments in '' check 'check a b' 'schema --lax'; do
  # shellcheck disable=SC2086 # a list of words
  expect 2 "$usage" $arguments </dev/null
done
expect 2 "tessera-config: there is no command 'chekc'
$usage" chekc all.json </dev/null
expect 1 '' check absent.json <<OUTPUT
absent.json: error[unreadable]: cannot be opened: No such file or directory; no service gets its files; name a readable file of at most 256 MiB
OUTPUT
"$program" --help | grep -q 'Exit status' || { echo "--help explains no exit status"; failed=1; }
"$program" schema 2>"$work/err" >/dev/full && { echo "a full disk goes unnoticed"; failed=1; }
[ -s "$work/err" ] || { echo "a full disk goes unreported"; failed=1; }
exit $failed
