#!/bin/sh
# What Debian wants of the files that were installed for a package below DIRECTORY, whose name and version are given:
# compressed pages, a changelog, and usual modes. Fails where the package's dependencies could not be found out.
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

# A heading "## VERSION - DAY" begins the entry of a version, whose items begin with "- ".
awk -v newest="$version" '
  function end() { if (day) { ("date -Rud " day) | getline date; printf "\n -- tessera developers <developers@tessera.example>  %s\n\n", date } }
  /^## / { end(); day = $4; printf "tessera (%s) unstable; urgency=medium\n\n", seen++ ? $2 "-1" : newest; next }
  !day { next }
  /^- / { print "  * " substr($0, 3); next }
  /^  / { print "  " $0 }
  END { end() }
' "$source/CHANGELOG.md" | gzip -9n >"$directory/usr/share/doc/tessera/changelog.Debian.gz"
