#!/bin/bash
# What readers of the PAM files find when something goes wrong, and when two runs meet: whole files, old or new.
# Usage: pam.sh BIN_DIR SOURCE_DIR
set -eu
BIN=$1
SOURCE=$2
. "$SOURCE/tests/daemons/router.sh"
router_enter "$0" "$@"
router_root

servers() { # COUNT NAME: a configuration with that many servers
  local i list=
  for ((i = 0; i < $1; i++)); do list="$list, {\"hostname\": \"$2-$i.example\", \"port\": 1812}"; done
  printf '{"auth": {"method": ["radius", "ldap"], "radius": {"nas_id": "%s", "server": [%s]}, "ldap": {"server": [%s]}}}' \
    "$2" "${list#, }" "${list#, }"
}
files=(/var/run/pam.conf /var/run/radius.conf /var/run/ldap.conf)
run() { "$BIN/tessera" pam; }
whole() { md5sum "${files[@]}"; }

# The two states that readers may see.
mkdir /etc/config/a /etc/config/b
servers 400 old >/etc/config/a/config.json
servers 500 new >/etc/config/b/config.json
for state in b a; do
  cp "/etc/config/$state/config.json" /etc/config/config.json
  run
  whole >"/etc/config/$state/sums"
  for file in "${files[@]}"; do cp "$file" "/etc/config/$state/"; done
done
left_over() { find /run -maxdepth 1 \( -name 'pam.conf.*' -o -name 'radius.[0-9]*' -o -name 'ldap.[0-9]*' \); }

# No space: at whatever byte the file system is full, the old files stand and nothing is left behind.
cp /etc/config/b/config.json /etc/config/config.json
installed=
for kib in 0 4 8 12 16 24 32 64; do
  mount -t tmpfs tmpfs /run
  for file in "${files[@]}"; do cp "/etc/config/a/${file##*/}" "$file"; done
  mount -o "remount,size=$(($(du -k -s /run | cut -f1) + kib))k" /run
  run || fail "a full file system changed the status to $?"
  new=0
  for file in "${files[@]}"; do
    if cmp -s "$file" "/etc/config/b/${file##*/}"; then new=$((new + 1)); continue; fi
    cmp -s "$file" "/etc/config/a/${file##*/}" || fail "$file is neither old nor new with $kib KiB left"
  done
  installed="$installed $new"
  [ -z "$(left_over)" ] || fail "left behind: $(left_over)"
  umount /run
done
case $installed in
  " 0 "*" 3") ;;
  *) fail "the sizes do not reach from no file to all files: $installed" ;;
esac
mount -t tmpfs tmpfs /run

# A directory that cannot be written.
for file in "${files[@]}"; do cp "/etc/config/a/${file##*/}" "$file"; done
mount -o remount,ro /run
status=0
run || status=$?
expect "status without a writable directory" "$status" 1
expect "files without a writable directory" "$(whole)" "$(cat /etc/config/a/sums)"
mount -o remount,rw /run

# Two runs at a time, readers watching.
loop() { # STATE: in a mount namespace with that configuration
  unshare -m bash -c "mount --bind /etc/config/$1/config.json /etc/config/config.json; for i in {1..60}; do '$BIN/tessera' pam; done"
}
loop a &
first=$!
loop b &
second=$!
reads=0
while kill -0 "$first" 2>/dev/null || kill -0 "$second" 2>/dev/null; do
  for file in "${files[@]}"; do
    cat "$file" >/run/seen  # cp refuses a file that is replaced between its two looks
    cmp -s /run/seen "/etc/config/a/${file##*/}" || cmp -s /run/seen "/etc/config/b/${file##*/}" ||
      fail "a reader saw a torn ${file##*/}"
    reads=$((reads + 1))
  done
done
wait "$first" "$second"
[ "$reads" -gt 20 ] || fail "only $reads reads"
[ -z "$(left_over)" ] || fail "left behind: $(left_over)"
