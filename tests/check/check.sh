#!/bin/sh
# What tessera-config says about each document here: NAME.expected, what it is to say about NAME.json.
#
#   check.sh BIN_DIRECTORY
set -u
cd "$(dirname "$0")" || exit 1
failures=0
for document in *.json; do
  "$1/tessera-config" check "$document" 2>&1 | diff -u "${document%.json}.expected" - || failures=1
done
exit "$failures"
