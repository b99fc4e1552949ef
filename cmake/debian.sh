#!/bin/sh
# Prepares the files of the package below DIRECTORY as Debian requires: compresses manual pages, makes the changelog, and
# sets the usual modes. Fails when a program that finds the dependencies of the package is missing.
#
#   debian.sh DIRECTORY SOURCE_DIRECTORY VERSION
set -eu
directory=$1
source=$2
version=$3
for program in dpkg-shlibdeps file; do
  command -v "$program" >/dev/null || { echo "$program is missing: 'make package' installs what packing needs" >&2; exit 1; }
done
chmod -R u=rwX,go=rX "$directory"
find "$directory/usr/share/man" -type f -exec gzip -9n {} +

# In CHANGELOG.md, a heading "## VERSION - DAY" begins the entry of a version, and "- " begins an item.
awk -v newest="$version" '
  function end() { if (day) { ("date -Rud " day) | getline date; printf "\n -- tessera developers <developers@tessera.example>  %s\n\n", date } }
  /^## / { end(); day = $4; printf "tessera (%s) unstable; urgency=medium\n\n", seen++ ? $2 "-1" : newest; next }
  !day { next }
  /^- / { print "  * " substr($0, 3); next }
  /^  / { print "  " $0 }
  END { end() }
' "$source/CHANGELOG.md" | gzip -9n >"$directory/usr/share/doc/tessera/changelog.Debian.gz"
